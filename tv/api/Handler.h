// SPDX-License-Identifier: MIT
/// \file What becomes of each request of the page.
#ifndef KINLOOM_TV_API_HANDLER_H
#define KINLOOM_TV_API_HANDLER_H

#include "httpd/Handler.h"
#include "tv/api/Api.h"
#include "tv/api/CommentsInDoubt.h"
#include "tv/api/Gate.h"
#include "tv/api/Page.h"
#include "tv/api/ShowLists.h"
#include "tv/service/Television.h"

namespace tv {

/// Serves the page, its pictures, and what it asks for.
class Handler : public httpd::Handler {
public:
    /// All must outlive it.
    Handler(Television& television, Gate& gate, const Page& page, const std::string& cacheFolder);

    httpd::Decision decide(const httpd::RequestHead& head, httpd::Connection& connection) override;
    httpd::Reply refusal(const httpd::RequestHead& head, const httpd::Refusal& refusal) override;

private:
    httpd::Decision decideApi(const httpd::RequestHead& head, httpd::Connection& connection);

    Television& m_television;
    Gate& m_gate;
    const Page& m_page;
    ShowLists m_shows;
    CommentsInDoubt m_doubts;
    ApiContext m_context;
};

} // namespace tv

#endif
