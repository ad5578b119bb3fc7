// SPDX-License-Identifier: MIT
/// \file Comments of which nobody knows whether the service has them.
#ifndef KINLOOM_TV_API_COMMENTSINDOUBT_H
#define KINLOOM_TV_API_COMMENTSINDOUBT_H

#include "tv/core/Calendar.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace tv {

/// Comments that were sent, and of which no answer came. Whoever sends such a one again looks first, so that it does not stand
/// there twice. All members may be called from any thread.
class CommentsInDoubt {
public:
    static constexpr Millis LIFE = 15LL * 60 * 1000; ///< after that the same words are another comment

    void note(const std::string& content, const std::string& text);
    /// When such a comment was sent; nothing where there is no doubt.
    std::optional<Millis> since(const std::string& content, const std::string& text);
    void settle(const std::string& content, const std::string& text);

private:
    std::mutex m_mutex;
    std::map<std::pair<std::string, std::string>, Millis> m_sent; // guarded by m_mutex
};

} // namespace tv

#endif
