// Internal: the object on the runtime's thread that receives deferred-call wake-ups and routes
// the mouse, key and focus events of every control's widgets to dispatch.
#pragma once

#include <QtCore/QObject>

namespace uir {

class Dispatcher : public QObject {
    Q_OBJECT
public:
    Dispatcher();

public slots:
    void wake();

protected:
    bool eventFilter(QObject* obj, QEvent* ev) override;
};

}  // namespace uir
