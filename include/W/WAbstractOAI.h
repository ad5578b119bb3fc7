// SPDX-License-Identifier: MIT
/// \file The base of every service interface.
#ifndef W_WABSTRACTOAI_H
#define W_WABSTRACTOAI_H

#include "W/WContentProvider.h"
#include "W/WException.h"
#include "W/WPlugin.h"
#include "W/WStatus.h" // IWYU pragma: export

#include <list>

namespace W {

typedef VOID (*WLoginCallback)(WSTATUS, const WContentProvider&, const STRING&, const STRING&, VOID*);
/// The callback of operations that report nothing but their status.
typedef VOID (*WStatusCallback)(WSTATUS, const WContentProvider&, VOID*);
typedef VOID (*WExceptionCallback)(WSTATUS, WException*, VOID*);

/// Operations that every service interface has. The order of the virtual members is part of the binary contract (slots 3 to 6).
class WAbstractOAI : public WPlugin {
public:
    virtual WSTATUS login(const STRING& user, const STRING& password, WLoginCallback callback, VOID* userData) = 0;
    virtual WSTATUS logout(WStatusCallback callback, VOID* userData) = 0;
    virtual WSTATUS retrieveExceptions(std::list<WException*>& exceptions) = 0;
    virtual WSTATUS resolveException(WException* exception, WExceptionCallback callback, VOID* userData) = 0;

    /// The provider that every callback is given, and that cancel and progressStatus want.
    const WContentProvider& getContentProvider() const { return m_provider; }

protected:
    explicit WAbstractOAI(const WContentProvider& provider) : m_provider(provider) {}

private:
    WContentProvider m_provider;
};

} // namespace W

#endif
