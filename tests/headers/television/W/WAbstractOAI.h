// SPDX-License-Identifier: MIT
/// \file The base of service interfaces.
#ifndef TELEVISION_W_WABSTRACTOAI_H
#define TELEVISION_W_WABSTRACTOAI_H

#include "W/WContentProvider.h"
#include "W/WException.h"
#include "W/WPlugin.h"

#include <list>

namespace W {

class WAbstractOAI : public WPlugin {
public:
    virtual WSTATUS login(const std::string& user, const std::string& password,
                          void (*callback)(WSTATUS, const WContentProvider&, const std::string&, const std::string&, void*),
                          void* userData) = 0;
    virtual WSTATUS logout(void (*callback)(WSTATUS, const WContentProvider&, void*), void* userData) = 0;
    virtual WSTATUS retrieveExceptions(std::list<WException*>& exceptions) = 0;
    virtual WSTATUS resolveException(WException* exception, void (*callback)(WSTATUS, WException*, void*), void* userData) = 0;

    const WContentProvider& getContentProvider() const;

protected:
    explicit WAbstractOAI(const WContentProvider& provider);
};

} // namespace W

#endif
