// What every exported entry point does around its work: no exception leaves the library, and
// an error of an operation on a session reaches that session's exception handlers.
#pragma once

#include <memory>
#include <new>

#include "zuvisa/core.h"
#include "zuvisa/session.h"

// An exported operation of the C API.
#define ZU_API extern "C" __attribute__((visibility("default")))

namespace zuvisa {

template <typename F>
ViStatus guarded(F&& f) {
    try {
        return f();
    } catch (const std::bad_alloc&) {
        return VI_ERROR_ALLOC;
    } catch (...) {
        return VI_ERROR_SYSTEM_ERROR;
    }
}

// Runs f on the session behind vi; a resource manager answers "not supported". An error
// reaches the session's exception handlers, named by operation.
template <typename F>
ViStatus onSession(const char* operation, ViSession vi, F&& f) {
    return guarded([&]() -> ViStatus {
        std::shared_ptr<Object> o = Library::instance().handles.get(vi);
        if (!o) return VI_ERROR_INV_OBJECT;
        if (o->type == ObjType::Rm) return VI_ERROR_NSUP_OPER;
        if (o->type != ObjType::Session) return VI_ERROR_INV_OBJECT;
        Session& s = static_cast<Session&>(*o);
        ViStatus st = f(s);
        if (st < 0) raiseException(s, st, operation);
        return st;
    });
}

}  // namespace zuvisa
