// SPDX-License-Identifier: MIT
/// \file Many contents whose pictures are to go.
#ifndef KINLOOM_TV_MEDIA_CONTENTSET_H
#define KINLOOM_TV_MEDIA_CONTENTSET_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tv {

/// Contents by eight bytes of each: a million of them take little memory. That it takes another one for one of them is as good as
/// impossible, and would do no harm: its picture would be fetched again.
class ContentSet {
public:
    void add(const std::string& content);
    /// To be called between the last addition and the first question.
    void finish();
    bool has(const std::string& content) const;
    /// Whether a file of the cache is of one of them. \param folder its folder's name
    bool hasFile(std::string_view folder, std::string_view name) const;
    bool empty() const { return m_marks.empty(); }

private:
    std::vector<std::uint64_t> m_marks;
};

} // namespace tv

#endif
