// SPDX-License-Identifier: MIT
/// \file OpenSSL's objects, owned.
#ifndef SUPPORT_OPENSSL_H
#define SUPPORT_OPENSSL_H

#include <memory>

namespace test {

template <auto Free> struct Deleter {
    template <class Object> void operator()(Object* object) const { Free(object); }
};

/// Frees its object with a function of OpenSSL's.
template <class Object, auto Free> using Owned = std::unique_ptr<Object, Deleter<Free>>;

} // namespace test

#endif
