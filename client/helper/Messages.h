// SPDX-License-Identifier: MIT
/// \file What a program and its helpers say to each other.
///
///     helper -> program   Hello    once, first
///     program -> helper   SetUp    once
///     program -> helper   Order    one call at a time
///     helper -> program   Begun    before the plugin is asked for anything
///     helper -> program   Moved    any number of times
///     program -> helper   Cancel   once at most
///     helper -> program   Warned   what a person should know; once, at any time of a call
///     helper -> program   Ended    the lane is free again
#ifndef KINLOOM_CLIENT_MESSAGES_H
#define KINLOOM_CLIENT_MESSAGES_H

#include "kinloom/Call.h"
#include "kinloom/Settings.h"

#include <string>
#include <string_view>
#include <variant>

namespace kinloom::message {

/// Changes with the format: a helper is the same program, but its file may have been replaced while the program ran.
constexpr std::uint32_t VERSION = 0x4B4C0002;

struct Hello {
    std::uint32_t version = VERSION;
};
struct SetUp {
    Settings settings;
};
struct Order {
    std::uint64_t number = 0;
    std::chrono::milliseconds patience{};
    Operation operation;
};
struct Cancel {
    std::uint64_t number = 0;
};
struct Begun {
    std::uint64_t number = 0;
};
struct Moved {
    std::uint64_t number = 0;
    TransferProgress progress;
};
struct Warned {
    std::string sentence;
};
struct Ended {
    std::uint64_t number = 0;
    CallResult result;
};

using Message = std::variant<Hello, SetUp, Order, Cancel, Begun, Moved, Warned, Ended>;

std::string encode(const Message& message);
/// \throw BrokenMessage.
Message decode(std::string_view bytes);

/// A call's value as it is after it has crossed. \throw BrokenMessage.
CallValue crossed(const CallValue& value);

} // namespace kinloom::message

#endif
