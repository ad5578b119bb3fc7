// SPDX-License-Identifier: MIT
/// \file What the benchmark server answers.
#ifndef SERVER_REPLIES_H
#define SERVER_REPLIES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace bench {

/// One reply, ready for the wire.
struct Reply {
    enum class Kind {
        WHOLE, ///< the bytes, then the next request
        CUT,   ///< the bytes, then the end of the connection
        NEVER, ///< nothing: the request waits until its client goes away
    };
    Kind kind = Kind::WHOLE;
    const std::string* bytes = nullptr; ///< head and body; borrowed from the Replies
    std::uint64_t filler = 0;           ///< bytes of body that follow, which nobody looks at
    bool answersExpect = true;          ///< a client that waits for a go-ahead gets it
};

/// Replies by method and path, made once and then only pointed at: the server must not be what a benchmark measures.
///
/// | path                                            | reply                                                          |
/// |-------------------------------------------------|----------------------------------------------------------------|
/// | /openapi/service/kinloom/auth, register         | a user                                                         |
/// | any with "records=N"                            | N groups                                                       |
/// | .../feeds?, with "search_count=N"               | N contents; see feedPage()                                     |
/// | .../upload                                      | an upload slot on this server                                  |
/// | .../silent/upload                               | one that never gives a go-ahead                                |
/// | .../fail-500, fail-403, fail-cut, fail-xml/...  | failures: codes, a broken connection, a body that is not XML   |
/// | .../hold/...                                    | none, ever                                                     |
/// | /bytes/N                                        | N bytes                                                        |
/// | everything else                                 | the outcome "ok"                                               |
class Replies {
public:
    explicit Replies(unsigned short port);

    Reply find(std::string_view path);

private:
    const std::string& kept(const std::string& key, std::string (*body)(unsigned int), unsigned int count);
    const std::string& fillerHead(std::uint64_t size);

    std::unordered_map<std::string, std::string> m_kept;
    std::string m_ok;
    std::string m_user;
    std::string m_slot;
    std::string m_silentSlot;
    std::string m_failed;
    std::string m_forbidden;
    std::string m_broken;
    std::string m_notXml;
};

} // namespace bench

#endif
