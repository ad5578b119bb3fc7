// SPDX-License-Identifier: MIT
/// \file Where the keys to a store come from.
#ifndef OBJECTS_CREDENTIALS_H
#define OBJECTS_CREDENTIALS_H

#include "objects/Signature.h"

#include <string>
#include <string_view>

namespace objects {

/// Takes the keys out of the environment: AWS_ACCESS_KEY_ID, AWS_SECRET_ACCESS_KEY and, for keys that were lent, AWS_SESSION_TOKEN.
/// Programs that are begun later do not get them. Throws std::runtime_error that says what is missing. Before there are other
/// threads.
Credentials takeCredentialsFromEnvironment();

/// The keys in a file of lines such as "aws_access_key_id = KEY": aws_access_key_id, aws_secret_access_key, aws_session_token. What
/// stands under another heading than [default] is left out, and so are empty lines and those that begin with '#' or ';'. Throws
/// std::runtime_error for a file that others may read, or in which something is missing.
Credentials credentialsFromFile(const std::string& path);

/// The keys in such a file's text. Throws std::runtime_error that names the file.
Credentials parseCredentials(std::string_view text, const std::string& path);

} // namespace objects

#endif
