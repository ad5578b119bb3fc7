// SPDX-License-Identifier: MIT
// Refusing a device that there is and one that there is not takes the same work: time would tell them apart otherwise. What the
// service asks of the cryptographic library and of the database is counted by standing in their way.
#include "core/Failure.h"
#include "operations/Authenticate.h"
#include "operations/Service.h"
#include "store/People.h"
#include "store/Trash.h"
#include "store/sqlite/SqliteConnection.h"
#include "wire/Authorization.h"

#include "KinloomdProcess.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sqlite3.h>

namespace {

struct Work {
    int digests = 0;
    int codes = 0;
    int comparisons = 0;
    std::size_t compared = 0; ///< bytes
    int rows = 0;

    bool operator==(const Work& other) const
    {
        return digests == other.digests && codes == other.codes && comparisons == other.comparisons && compared == other.compared &&
               rows == other.rows;
    }
};
thread_local Work work; // NOLINT: counted by what stands in the way, for the thread that tests

template <typename Function> Function* next(const char* name) { return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name)); }

} // namespace

extern "C" int EVP_Digest(const void* data, size_t count, unsigned char* md, unsigned int* size, const EVP_MD* type, ENGINE* impl)
{
    ++work.digests;
    return next<decltype(EVP_Digest)>("EVP_Digest")(data, count, md, size, type, impl);
}

extern "C" unsigned char* HMAC(const EVP_MD* type, const void* key, int keySize, const unsigned char* data, size_t count,
                               unsigned char* md, unsigned int* size)
{
    ++work.codes;
    return next<decltype(HMAC)>("HMAC")(type, key, keySize, data, count, md, size);
}

extern "C" int CRYPTO_memcmp(const void* a, const void* b, size_t count)
{
    ++work.comparisons;
    work.compared += count;
    return next<decltype(CRYPTO_memcmp)>("CRYPTO_memcmp")(a, b, count);
}

extern "C" int sqlite3_step(sqlite3_stmt* statement)
{
    const int result = next<decltype(sqlite3_step)>("sqlite3_step")(statement);
    work.rows += result == SQLITE_ROW ? 1 : 0;
    return result;
}

namespace {

using namespace kinloomd;
using kinloomd_test::TemporaryFolder;

class EqualWork : public ::testing::Test {
protected:
    void SetUp() override { SKIP_ON_POSTGRESQL("what SQLite does is counted"); }

    EqualWork()
    {
        Options options;
        options.data = m_folder / "data";
        m_service = std::make_unique<Service>(options);
        {
            // Connections enough for everyone: to open one is work too.
            const auto first = m_service->database().read();
            const auto second = m_service->database().read();
            const auto third = m_service->database().read();
        }
        const auto connection = m_service->database().write();
        Transaction transaction(connection);
        for (int i = 0; i < 20; ++i) {
            const Person person = addPerson(connection, "person " + std::to_string(i), "");
            addDevice(connection, person.id, duid(i), std::string(32, 'a'), std::string(64, 't'));
        }
        transaction.commit();
    }

    static std::string duid(int i) { return std::string(30, 'd') + std::to_string(10 + i); }

    static std::string header(const std::string& duid, const std::string& token, const std::string& signature)
    {
        return R"(auth_identifier="KL_AUTH_V1", app_id=")" + std::string(32, 'a') + R"(", app_type="dtv", token=")" + token +
               R"(", token_type="user", duid=")" + duid + "\", signature=\"" + signature + "\"";
    }

    /// What it takes to answer. \param accepted whether it proves what it says.
    Work workFor(const std::string& authorization, Access access, bool accepted)
    {
        httpd::RequestHead head;
        head.address = "127.0.0.1";
        head.headers = {{"Authorization", authorization}};
        Request request(head);
        work = {};
        try {
            authenticate(*m_service, request, access);
            EXPECT_TRUE(accepted) << authorization;
        } catch (const ServiceError&) {
            EXPECT_FALSE(accepted) << authorization;
        }
        return work;
    }

    TemporaryFolder m_folder;
    std::unique_ptr<Service> m_service;
};

TEST_F(EqualWork, IsDoneForEveryRefusalWhateverIsWrong)
{
    const std::string right(64, 't');
    const std::string wrong(64, 'x');
    const std::string signature = requestSignature(std::string(32, 'a'), right);
    const std::string unknown(32, 'u');
    for (const Access access : {Access::SIGNED, Access::SIGN_IN}) {
        const Work accepted = workFor(header(duid(3), right, signature), access, true);
        EXPECT_GT(accepted.digests + accepted.codes + accepted.comparisons, 3) << "what is counted is what is done";
        EXPECT_EQ(accepted.rows, 1);
        // Every one once, so that nothing is prepared any more.
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(workFor(header(unknown, right, signature), access, false), accepted);
            EXPECT_EQ(workFor(header(duid(3), wrong, signature), access, false), accepted);
            EXPECT_EQ(workFor(header(duid(3), right, std::string(40, '0')), access, false), accepted);
            EXPECT_EQ(workFor(header(unknown, wrong, std::string(40, '0')), access, false), accepted);
        }
    }
}

TEST_F(EqualWork, IsDoneForDevicesThatWereRemoved)
{
    const std::string authorization =
        header(duid(3), std::string(64, 't'), requestSignature(std::string(32, 'a'), std::string(64, 't')));
    const Work before = workFor(authorization, Access::SIGNED, true);
    {
        const auto connection = m_service->database().write();
        Transaction transaction(connection);
        EXPECT_TRUE(trashDevice(connection, duid(3), 0));
        transaction.commit();
    }
    EXPECT_EQ(workFor(authorization, Access::SIGNED, false), before);
}

/// The instructions that the database runs to look a device up.
int instructions(DatabaseConnection& connection, const std::string& duid)
{
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(
        sqlite3_prepare_v2(static_cast<SqliteConnection&>(connection).raw(), textOf(Sql::DEVICE_BY_DUID), -1, &statement, nullptr),
        SQLITE_OK);
    sqlite3_bind_text(statement, 1, duid.c_str(), -1, SQLITE_STATIC);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
    const int steps = sqlite3_stmt_status(statement, SQLITE_STMTSTATUS_VM_STEP, 0);
    sqlite3_finalize(statement);
    return steps;
}

TEST_F(EqualWork, IsDoneByTheDatabaseForADeviceThatIsNotThere)
{
    const auto connection = m_service->database().read();
    const int known = instructions(connection, duid(12));
    EXPECT_GT(known, 20);
    EXPECT_NEAR(instructions(connection, std::string(32, 'u')), known, 3);
    EXPECT_NEAR(instructions(connection, ""), known, 3);
}

} // namespace
