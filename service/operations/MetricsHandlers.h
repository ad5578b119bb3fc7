// SPDX-License-Identifier: MIT
/// \file What those ask who operate the service: whether it is well, and what it has done.
#ifndef KINLOOMD_OPERATIONS_METRICSHANDLERS_H
#define KINLOOMD_OPERATIONS_METRICSHANDLERS_H

#include "httpd/Counters.h"
#include "operations/Request.h"

#include <optional>

namespace kinloomd {

class Service;

/// What such a path is called where requests are counted; empty for every other path.
std::string_view operatorsWord(std::string_view path);

/// Answers requests for "/healthz" (200, or 503 when database or disk do not answer) and "/metrics". \return nothing for every
/// other path. Throws ServiceError for those who may not ask, and for other methods than GET and HEAD.
std::optional<Reply> answerOperator(Service& service, const httpd::RequestHead& head, const httpd::Counters& server);

} // namespace kinloomd

#endif
