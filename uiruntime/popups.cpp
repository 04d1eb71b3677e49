// Message, confirmation and file selection popups.
#include <QtCore/QFileInfo>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>

#include "uiruntime/core.h"
#include "uiruntime/userint.h"

namespace uir {

namespace {

// Hands a popup to the test driver when it drives the runtime. Returns true when it did.
bool scripted(PopupRequest& req) {
    Runtime* rt = runtime();
    if (!rt->test.active) return false;
    if (!rt->test.popup || !rt->test.popup(req)) {
        if (rt->test.failure) rt->test.failure("unexpected popup \"" + req.title + "\": " + req.text);
        req.result = 0;
    }
    return true;
}

// "*.*" means any file here, as names need no extension.
QString patternOf(const std::string& spec) {
    if (spec.empty() || spec == "*.*") return QStringLiteral("*");
    return QString::fromStdString(spec);
}

}  // namespace

}  // namespace uir

using namespace uir;

int MessagePopup(const char* title, const char* message) {
    return guarded("MessagePopup", [&] {
        if (!title || !message) return UIENullPointer;
        PopupRequest req;
        req.kind = PopupRequest::Kind::Message;
        req.title = title;
        req.text = message;
        if (scripted(req)) return 0;
        QMessageBox box(QMessageBox::NoIcon, QString::fromUtf8(title), QString::fromUtf8(message),
                        QMessageBox::Ok);
        box.setTextFormat(Qt::PlainText);
        box.exec();
        return 0;
    });
}

int ConfirmPopup(const char* title, const char* message) {
    return guarded("ConfirmPopup", [&] {
        if (!title || !message) return UIENullPointer;
        PopupRequest req;
        req.kind = PopupRequest::Kind::Confirm;
        req.title = title;
        req.text = message;
        if (scripted(req)) return req.result ? 1 : 0;
        QMessageBox box(QMessageBox::Question, QString::fromUtf8(title), QString::fromUtf8(message),
                        QMessageBox::Yes | QMessageBox::No);
        box.setTextFormat(Qt::PlainText);
        box.setDefaultButton(QMessageBox::Yes);
        return box.exec() == QMessageBox::Yes ? 1 : 0;
    });
}

int FileSelectPopup(const char* defaultDirectory, const char* defaultFileSpec,
                    const char* fileTypeList, const char* title, int buttonLabel,
                    int restrictDirectory, int restrictExtension, int allowCancel,
                    int allowMakeDirectory, char* pathName, size_t pathNameSize) {
    return guarded("FileSelectPopup", [&] {
        if (!pathName) return UIENullPointer;
        if (pathNameSize == 0) return UIEBufferTooSmall;
        if (buttonLabel < VAL_OK_BUTTON || buttonLabel > VAL_LOAD_BUTTON) return UIEInvalidAttributeValue;
        std::string dir = defaultDirectory ? defaultDirectory : "";
        std::string spec = defaultFileSpec ? defaultFileSpec : "";
        std::string types = fileTypeList ? fileTypeList : "";
        std::string heading = title ? title : "";
        PopupRequest req;
        req.kind = PopupRequest::Kind::FileSelect;
        req.title = heading;
        req.directory = dir;
        req.fileSpec = spec;
        req.buttonLabel = buttonLabel;
        if (scripted(req)) {
            if (req.result == VAL_EXISTING_FILE_SELECTED || req.result == VAL_NEW_FILE_SELECTED) {
                if (int rc = storeText(req.path, pathName, pathNameSize)) return rc;
                return req.result;
            }
            return static_cast<int>(VAL_NO_FILE_SELECTED);
        }
        QString start = QString::fromStdString(dir.empty() ? "." : dir);
        QFileDialog dlg(nullptr, QString::fromStdString(heading), start);
        dlg.setOption(QFileDialog::DontUseNativeDialog);
        QStringList filters;
        filters << patternOf(spec);
        size_t from = 0;
        while (from < types.size()) {
            size_t to = types.find(';', from);
            if (to == std::string::npos) to = types.size();
            if (to > from) filters << patternOf(types.substr(from, to - from));
            from = to + 1;
        }
        if (!restrictExtension && !filters.contains(QStringLiteral("*"))) filters << QStringLiteral("*");
        dlg.setNameFilters(filters);
        const bool saving = buttonLabel == VAL_SAVE_BUTTON || buttonLabel == VAL_OK_BUTTON;
        dlg.setAcceptMode(buttonLabel == VAL_SAVE_BUTTON ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
        dlg.setFileMode(saving ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
        static const char* labels[] = {"OK", "Save", "Select", "Load"};
        dlg.setLabelText(QFileDialog::Accept, QString::fromLatin1(labels[buttonLabel]));
        if (!allowMakeDirectory) dlg.setOption(QFileDialog::ReadOnly);
        if (restrictDirectory) {
            QObject::connect(&dlg, &QFileDialog::directoryEntered, &dlg, [&dlg, start](const QString& d) {
                if (QFileInfo(d).absoluteFilePath() != QFileInfo(start).absoluteFilePath()) dlg.setDirectory(start);
            });
        }
        QString chosen;
        for (;;) {
            // Only a file is an answer; a directory is not.
            if (dlg.exec() == QDialog::Accepted && !dlg.selectedFiles().isEmpty() &&
                !QFileInfo(dlg.selectedFiles().front()).isDir()) {
                chosen = dlg.selectedFiles().front();
                break;
            }
            if (allowCancel) return static_cast<int>(VAL_NO_FILE_SELECTED);
        }
        bool exists = QFileInfo::exists(chosen);
        if (int rc = storeText(chosen.toStdString(), pathName, pathNameSize)) return rc;
        return static_cast<int>(exists ? VAL_EXISTING_FILE_SELECTED : VAL_NEW_FILE_SELECTED);
    });
}
