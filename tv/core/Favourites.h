// SPDX-License-Identifier: MIT
/// \file What people have marked and hidden on this television.
#ifndef KINLOOM_TV_CORE_FAVOURITES_H
#define KINLOOM_TV_CORE_FAVOURITES_H

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace tv {

/// Marked and hidden contents of one person's groups, kept in a file. Another person's are never seen together with them: they go
/// when another person comes. All members may be called from any thread.
class Favourites {
public:
    enum class Kind : std::uint8_t { MARKED, HIDDEN };

    /// \param path of the file
    explicit Favourites(std::string path);

    /// Whose they are; empty for nobody.
    std::string owner() const;
    /// Whose they are from now on; those of anybody else are forgotten.
    void beginFor(const std::string& owner);

    bool is(Kind kind, const std::string& content) const;
    /// \return whether that has changed something. Throws std::system_error where it cannot be kept, each time that it is asked
    /// for again, though it holds until the end of the program then.
    bool set(Kind kind, const std::string& content, bool on);
    /// Tries again to keep what could not be kept.
    void keepAgain() noexcept;
    /// The contents, those first that came last.
    std::vector<std::string> list(Kind kind) const;

private:
    using Set = std::unordered_map<std::string, std::int64_t>; ///< when each was added, by content

    Set& setOf(Kind kind) { return kind == Kind::MARKED ? m_marked : m_hidden; }
    const Set& setOf(Kind kind) const { return kind == Kind::MARKED ? m_marked : m_hidden; }
    void write();

    const std::string m_path;
    mutable std::mutex m_mutex;
    std::string m_owner; // guarded by m_mutex, like all below
    Set m_marked;
    Set m_hidden;
    bool m_kept = true; ///< the file is like this
};

} // namespace tv

#endif
