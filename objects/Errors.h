// SPDX-License-Identifier: MIT
/// \file What an object store does not do.
#ifndef OBJECTS_ERRORS_H
#define OBJECTS_ERRORS_H

#include <stdexcept>

namespace objects {

/// Anything that a store has not done. The text is a sentence for those who run the program, and holds no secret.
class ObjectError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// There is no such object, or no such upload.
class ObjectNotFound : public ObjectError {
public:
    using ObjectError::ObjectError;
};

/// The store will not do it until somebody changes something: keys, rights, the bucket, the clock. The text says what.
class StoreRefused : public ObjectError {
public:
    using ObjectError::ObjectError;
};

/// The store could not be asked, or could not answer, for as long as there was patience for it. Another time may be better. Whether
/// something was done is unknown.
class StoreUnavailable : public ObjectError {
public:
    using ObjectError::ObjectError;
};

} // namespace objects

#endif
