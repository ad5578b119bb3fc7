// SPDX-License-Identifier: MIT
// The three status mappings: HTTP code to service status, the service's own code to service status, service status to WSTATUS.
#include "KLService/HostValues.h"
#include "KLService/KLService.h"

#include <array>

namespace W {

namespace {

struct HttpRow {
    UINT32 code;
    GSTATUS status;
};

constexpr HttpRow HTTP_ROWS[] = {
    {200, GSTATUS_OK},
    {201, GSTATUS_OK},
    {304, GSTATUS_OK},
    {400, GSTATUS_REJECTED},
    {401, GSTATUS_NOT_LOGGED_IN},
    {403, GSTATUS_REJECTED},
    {404, GSTATUS_NOT_FOUND},
    {409, GSTATUS_CONFLICT},
    {410, GSTATUS_NOT_FOUND},
    {412, GSTATUS_CONFLICT},
    {500, GSTATUS_SERVER_ERROR},
};

struct ServiceRow {
    const char* code;
    GSTATUS status;
};

// "200" to "202" look like success and are not: the service uses them for refused credentials.
constexpr ServiceRow SERVICE_ROWS[] = {
    {"206", GSTATUS_NOT_LOGGED_IN}, {"207", GSTATUS_NOT_LOGGED_IN}, {"100", GSTATUS_BAD_ARGUMENT},  {"101", GSTATUS_BAD_ARGUMENT},
    {"102", GSTATUS_BAD_ARGUMENT},  {"103", GSTATUS_BAD_ARGUMENT},  {"104", GSTATUS_BAD_ARGUMENT},  {"105", GSTATUS_BAD_ARGUMENT},
    {"106", GSTATUS_BAD_ARGUMENT},  {"107", GSTATUS_BAD_ARGUMENT},  {"108", GSTATUS_BAD_ARGUMENT},  {"109", GSTATUS_BAD_ARGUMENT},
    {"209", GSTATUS_BAD_ARGUMENT},  {"210", GSTATUS_BAD_ARGUMENT},  {"300", GSTATUS_BAD_ARGUMENT},  {"203", GSTATUS_GENERAL},
    {"204", GSTATUS_GENERAL},       {"205", GSTATUS_GENERAL},       {"208", GSTATUS_GENERAL},       {"500", GSTATUS_GENERAL},
    {"501", GSTATUS_GENERAL},       {"502", GSTATUS_GENERAL},       {"200", GSTATUS_LOGIN_REFUSED}, {"201", GSTATUS_LOGIN_REFUSED},
    {"202", GSTATUS_LOGIN_REFUSED},
};

constexpr std::size_t LAST_STATUS = GSTATUS_NOT_LOGGED_IN;

struct Range {
    UINT32 first;
    UINT32 last;
    WSTATUS status;
};

// Everything that no row names is a general failure.
constexpr Range STATUS_RANGES[] = {
    {1, 1, wstatus::INVALID_ARGUMENT},
    {5, 5, wstatus::NOT_CREATED},
    {21, 21, wstatus::LOGIN_REFUSED},
    {22, 23, wstatus::LIMIT_EXCEEDED},
    {24, 24, wstatus::CHALLENGE_REQUIRED},
    {25, 25, wstatus::LOGIN_REFUSED},
    {26, 28, wstatus::LIMIT_EXCEEDED},
    {29, 29, wstatus::CONNECTION_LOST},
    {30, 30, wstatus::NOT_LOGGED_IN},
    {41, 41, wstatus::UNREACHABLE},
    {42, 42, wstatus::TIMED_OUT},
    {43, 43, wstatus::CONNECTION_LOST},
    {44, 44, wstatus::CONFLICT},
    {45, 45, wstatus::REJECTED},
    {61, 67, wstatus::FILE_ERROR},
    {81, 81, wstatus::CANCELLED},
    {102, 102, wstatus::EXCEPTION_PENDING},
    {141, 141, wstatus::REJECTED},
    {142, 142, wstatus::NOT_LOGGED_IN},
};

constexpr std::array<WSTATUS, LAST_STATUS> makeStatusTable()
{
    std::array<WSTATUS, LAST_STATUS> table{};
    for (WSTATUS& entry : table)
        entry = wstatus::FAILED;
    for (const Range& range : STATUS_RANGES)
        for (UINT32 status = range.first; status <= range.last; ++status)
            table[status - 1] = range.status;
    return table;
}

constexpr std::array<WSTATUS, LAST_STATUS> STATUS_TABLE = makeStatusTable();

} // namespace

GSTATUS KLService::getKLSTATUS(HTTP_RESPONSE_CODE code)
{
    for (const HttpRow& row : HTTP_ROWS)
        if (row.code == code)
            return row.status;
    return GSTATUS_UNMAPPED;
}

GSTATUS KLService::getKLSTATUS(STRING code)
{
    for (const ServiceRow& row : SERVICE_ROWS)
        if (code == row.code)
            return row.status;
    return GSTATUS_UNMAPPED;
}

WSTATUS KLService::getWlibSTATUS(GSTATUS status)
{
    if (status == GSTATUS_OK)
        return wstatus::OK;
    if (status > LAST_STATUS)
        return wstatus::FAILED;
    return STATUS_TABLE[status - 1];
}

} // namespace W
