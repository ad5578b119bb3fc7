// SPDX-License-Identifier: MIT
/// \file The walk over a reply's envelope that all replies share.
#ifndef WKLOAI_REPLIES_ENVELOPE_H
#define WKLOAI_REPLIES_ENVELOPE_H

#include "KLService/Failure.h"
#include "KLService/Xml.h"
#include "WKLOAI/replies/Document.h"

namespace W::replies {

/// Runs what parses and reads a reply. What it throws becomes a logged -16: a malformed reply, a hostile one, or one that there is
/// no memory for. A reply that no parser could be made for has not been looked at, and is no failure.
template <class Step> WSTATUS parsing(Step&& step, int line = __builtin_LINE())
{
    try {
        return step();
    } catch (const NoParser&) {
        return wstatus::OK;
    } catch (const std::exception&) {
        return logFailure(wstatus::FAILED, line);
    }
}

enum class Walk { GO_ON, END };

/// The steps of a walk that differ between kinds of reply.
struct EnvelopeRules {
    /// What a "result" of "fail" gives.
    WSTATUS failed = wstatus::FAILED;
    /// Whether an envelope that holds only text, comments and the like is as bad as an empty one.
    bool needsElements = false;
};

/// Walks the children of "rsp" in document order.
/// \param onOk called with each "result" that says "ok". \param onData called with each "data"; tells whether to go on.
/// \return 0; -16 when the root is not "rsp" or is empty; the rules' status when the reply says "fail" before the walk has ended.
template <class OnOk, class OnData>
WSTATUS walkEnvelope(const Document& document, const EnvelopeRules& rules, OnOk&& onOk, OnData&& onData,
                     int line = __builtin_LINE())
{
    const xmlNode* const root = document.root();
    const xmlNode* const first = rules.needsElements ? xml::firstElement(root) : root->children;
    if (!xml::isElement(root, "rsp") || !first)
        return logFailure(wstatus::FAILED, line);
    for (const xmlNode* child = first; child; child = child->next) {
        if (xml::isElement(child, "result")) {
            // The code and the description beside a failure do not change its status.
            const std::string_view verdict = xml::childText(child, "stat");
            if (verdict == "fail")
                return logFailure(rules.failed, line);
            if (verdict == "ok")
                onOk(child);
        } else if (xml::isElement(child, "data")) {
            if (onData(child) == Walk::END)
                break;
        }
    }
    return wstatus::OK;
}

} // namespace W::replies

#endif
