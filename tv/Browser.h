// SPDX-License-Identifier: MIT
/// \file The browser that shows the page over the whole screen.
#ifndef KINLOOM_TV_BROWSER_H
#define KINLOOM_TV_BROWSER_H

#include <string>
#include <sys/types.h>

namespace tv {

/// Chromium with the page, as a kiosk.
class Browser {
public:
    /// Starts it. The address, which carries a key, is handed over in a file that its owner alone can read: arguments can be read
    /// by everybody on this computer. It keeps no picture on the disk, and ends with this program, however that ends.
    /// \param folder for that file and the browser's profile, which is another one each time. To be called on a thread that lives
    /// as long as the object. Throws std::runtime_error, with a sentence.
    Browser(const std::string& address, const std::string& folder);
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;
    /// Ends it.
    ~Browser();

    bool hasEnded();

private:
    void end();

    std::string m_file;
    std::string m_profile;
    pid_t m_pid = -1;
};

} // namespace tv

#endif
