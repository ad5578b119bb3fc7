// SPDX-License-Identifier: MIT
// The status mappings, each table walked whole.
#include "KLService/KLService.h"
#include "W/WStatus.h"

#include <gtest/gtest.h>
#include <map>
#include <set>

using namespace W;

namespace {

GSTATUS ofHttp(UINT32 code) { return KLService::getKLSTATUS(static_cast<HTTP_RESPONSE_CODE>(code)); }
GSTATUS ofText(const STRING& code) { return KLService::getKLSTATUS(code); }
WSTATUS wlib(UINT32 status) { return KLService::getWlibSTATUS(static_cast<GSTATUS>(status)); }

struct HttpRow {
    UINT32 code;
    UINT32 service;
    WSTATUS status;
};

constexpr HttpRow HTTP_ROWS[] = {
    {200, 0, 0},     {201, 0, 0},     {304, 0, 0},     {400, 141, -205}, {401, 142, -202}, {403, 141, -205},
    {404, 45, -205}, {409, 44, -203}, {410, 45, -205}, {412, 44, -203},  {500, 43, -107},
};

struct TextRow {
    const char* code;
    UINT32 service;
    WSTATUS status;
};

constexpr TextRow TEXT_ROWS[] = {
    {"206", 142, -202}, {"207", 142, -202}, {"100", 1, -1},    {"101", 1, -1},    {"102", 1, -1},
    {"103", 1, -1},     {"104", 1, -1},     {"105", 1, -1},    {"106", 1, -1},    {"107", 1, -1},
    {"108", 1, -1},     {"109", 1, -1},     {"209", 1, -1},    {"210", 1, -1},    {"300", 1, -1},
    {"203", 101, -16},  {"204", 101, -16},  {"205", 101, -16}, {"208", 101, -16}, {"500", 101, -16},
    {"501", 101, -16},  {"502", 101, -16},  {"200", 21, -200}, {"201", 21, -200}, {"202", 21, -200},
};

// The whole vocabulary as it was agreed on, one entry a status from 1 on.
constexpr WSTATUS STATUSES[142] = {
    -1,   -16,  -16,  -16,  -3,   -16, -16, -16, -16,  -16,  // 1
    -16,  -16,  -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 11
    -200, -13,  -13,  -500, -200, -13, -13, -13, -107, -202, // 21
    -16,  -16,  -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 31
    -100, -105, -107, -203, -205, -16, -16, -16, -16,  -16,  // 41
    -16,  -16,  -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 51
    -5,   -5,   -5,   -5,   -5,   -5,  -5,  -16, -16,  -16,  // 61
    -16,  -16,  -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 71
    -108, -16,  -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 81
    -16,  -16,  -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 91
    -16,  -9,   -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 101
    -16,  -16,  -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 111
    -16,  -16,  -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 121
    -16,  -16,  -16,  -16,  -16,  -16, -16, -16, -16,  -16,  // 131
    -205, -202,                                              // 141
};

} // namespace

TEST(Statuses, MapEveryHttpCodeOfTheTable)
{
    for (const HttpRow& row : HTTP_ROWS) {
        EXPECT_EQ(ofHttp(row.code), row.service) << row.code;
        EXPECT_EQ(KLService::getWlibSTATUS(ofHttp(row.code)), row.status) << row.code;
    }
}

TEST(Statuses, MapEveryOtherHttpCodeToAGeneralFailure)
{
    std::set<UINT32> known;
    for (const HttpRow& row : HTTP_ROWS)
        known.insert(row.code);
    for (UINT32 code = 0; code <= 1000; ++code) {
        if (known.count(code) != 0)
            continue;
        EXPECT_EQ(ofHttp(code), 255u) << code;
        EXPECT_EQ(KLService::getWlibSTATUS(ofHttp(code)), -16) << code;
    }
    EXPECT_EQ(ofHttp(0xFFFFFFFF), 255u);
}

TEST(Statuses, TakeHttp202And204ForFailures)
{
    EXPECT_EQ(KLService::getWlibSTATUS(ofHttp(202)), -16);
    EXPECT_EQ(KLService::getWlibSTATUS(ofHttp(204)), -16);
}

TEST(Statuses, TakeHttp304ForASuccess) { EXPECT_EQ(KLService::getWlibSTATUS(ofHttp(304)), 0); }

TEST(Statuses, RejectHttp404And410Like400And403)
{
    for (const UINT32 code : {400u, 403u, 404u, 410u})
        EXPECT_EQ(KLService::getWlibSTATUS(ofHttp(code)), -205) << code;
}

TEST(Statuses, ReportAConflictForHttp409And412)
{
    for (const UINT32 code : {409u, 412u})
        EXPECT_EQ(KLService::getWlibSTATUS(ofHttp(code)), -203) << code;
}

TEST(Statuses, MapEveryServiceCodeOfTheTable)
{
    for (const TextRow& row : TEXT_ROWS) {
        EXPECT_EQ(ofText(row.code), row.service) << row.code;
        EXPECT_EQ(KLService::getWlibSTATUS(ofText(row.code)), row.status) << row.code;
    }
}

TEST(Statuses, MapEveryOtherServiceCodeToAGeneralFailure)
{
    std::set<STRING> known;
    for (const TextRow& row : TEXT_ROWS)
        known.insert(row.code);
    for (unsigned int code = 0; code <= 1000; ++code) {
        if (known.count(std::to_string(code)) != 0)
            continue;
        EXPECT_EQ(ofText(std::to_string(code)), 255u) << code;
    }
}

TEST(Statuses, CompareServiceCodesByteForByte)
{
    for (const STRING& code :
         {STRING(), STRING("0200"), STRING(" 200"), STRING("200 "), STRING("20"), STRING("2000"), STRING("200\n"),
          STRING("2\0002", 3), STRING("200\0", 4), STRING("ok"), STRING("-100"), STRING("100.0")})
        EXPECT_EQ(ofText(code), 255u) << testing::PrintToString(code);
}

TEST(Statuses, RefuseTheLoginForServiceCode202LikeFor200)
{
    EXPECT_EQ(KLService::getWlibSTATUS(ofText("202")), -200);
    EXPECT_EQ(KLService::getWlibSTATUS(ofText("200")), -200);
}

TEST(Statuses, MapServiceCode204ThroughTheGeneralStatus)
{
    EXPECT_EQ(ofText("204"), 101u);
    EXPECT_EQ(KLService::getWlibSTATUS(ofText("204")), -16);
}

TEST(Statuses, MapAll142ServiceStatuses)
{
    for (UINT32 status = 1; status <= 142; ++status)
        EXPECT_EQ(wlib(status), STATUSES[status - 1]) << status;
}

TEST(Statuses, MapTheEndsOfTheTable)
{
    EXPECT_EQ(wlib(0), 0);
    EXPECT_EQ(wlib(142), -202);
    EXPECT_EQ(wlib(143), -16);
    EXPECT_EQ(wlib(255), -16);
    EXPECT_EQ(wlib(0x7FFFFFFF), -16);
    EXPECT_EQ(wlib(0xFFFFFFFF), -16);
}

TEST(Statuses, GiveEachKindOfTransportFailureAMeaning)
{
    const std::map<SESSION_STATUS, WSTATUS> meanings = {
        {SESSION_DONE, WSTATUS_OK},
        {SESSION_NOT_CREATED, WSTATUS_NOT_CREATED},
        {SESSION_TOO_LARGE, WSTATUS_LIMIT_EXCEEDED},
        {SESSION_CUT_OFF, WSTATUS_CONNECTION_LOST},
        {SESSION_UNREACHABLE, WSTATUS_UNREACHABLE},
        {SESSION_TIMED_OUT, WSTATUS_TIMED_OUT},
        {SESSION_FILE_ERROR, WSTATUS_FILE_ERROR},
        {SESSION_CANCELLED, WSTATUS_CANCELLED},
        {SESSION_PROTOCOL_ERROR, WSTATUS_FAILED},
    };
    for (const auto& [session, status] : meanings)
        EXPECT_EQ(KLService::getWlibSTATUS(session), status) << session;
}

TEST(Statuses, MapAnyNumberThatAHostMayPass)
{
    for (const UINT32 number : {143u, 254u, 255u, 256u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ(KLService::getWlibSTATUS(static_cast<SESSION_STATUS>(number)), -16) << number;
}
