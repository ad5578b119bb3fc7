// SPDX-License-Identifier: MIT
/// \file Rights that a test must not have.
#ifndef SUPPORT_ORDINARYUSER_H
#define SUPPORT_ORDINARYUSER_H

#include <gtest/gtest.h>
#include <unistd.h>

namespace test {

/// The super-user may read and write everywhere, so the process is somebody else for as long as one of these lives.
class AsOrdinaryUser {
public:
    AsOrdinaryUser() : m_before(geteuid())
    {
        constexpr uid_t NOBODY = 65534;
        if (m_before == 0 && seteuid(NOBODY) != 0)
            ADD_FAILURE() << "cannot give up the rights of the super-user";
    }
    ~AsOrdinaryUser() { EXPECT_EQ(seteuid(m_before), 0); }
    AsOrdinaryUser(const AsOrdinaryUser&) = delete;
    AsOrdinaryUser& operator=(const AsOrdinaryUser&) = delete;

private:
    uid_t m_before;
};

} // namespace test

#endif
