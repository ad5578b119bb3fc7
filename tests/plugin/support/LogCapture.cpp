// SPDX-License-Identifier: MIT
#include "plugin/support/LogCapture.h"

#include "W/WStatus.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <regex>

namespace kinloom_test {

namespace {

// The report and the empty line behind it.
const std::regex& report()
{
    static const std::regex PATTERN("#ERROR WSTATUS:(\\w+)\\((-?[0-9]+)\\)\tFILE:([^(\n]+)\\(([0-9]+)\\)\n\n");
    return PATTERN;
}

} // namespace

LogEntry serviceEntry(W::WSTATUS status, int line)
{
    return {W::WSTATUS2STRING(static_cast<unsigned int>(status)), status, "src/KLService", line};
}

LogCapture::~LogCapture()
{
    const W::STRING taken = m_capture.take();
    if (testing::Test::HasFailure())
        std::fputs(taken.c_str(), stdout);
}

W::STRING LogCapture::text() const { return m_capture.text().substr(m_begin); }

std::vector<LogEntry> LogCapture::entries() const
{
    const W::STRING all = text();
    std::vector<LogEntry> found;
    for (std::sregex_iterator match(all.begin(), all.end(), report()), end; match != end; ++match)
        found.push_back({(*match)[1], std::stoi((*match)[2]), (*match)[3], std::stoi((*match)[4])});
    return found;
}

std::vector<W::WSTATUS> LogCapture::statuses(const W::STRING& source) const
{
    std::vector<W::WSTATUS> found;
    for (const LogEntry& entry : entries())
        if (entry.source == source)
            found.push_back(entry.status);
    return found;
}

W::STRING LogCapture::strays() const { return std::regex_replace(text(), report(), ""); }

void LogCapture::clear() { m_begin += text().size(); }

} // namespace kinloom_test
