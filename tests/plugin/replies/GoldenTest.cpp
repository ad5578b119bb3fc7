// SPDX-License-Identifier: MIT
// Whole replies beside whole records, as they stand in tests/golden/replies.
//
// "KIND-name.xml" is a reply, or two of them in both shapes, "KIND-name.attributes.xml" and "KIND-name.elements.xml"; what is read
// out of it stands in "KIND-name.records": the status, the number of records that the entry point tells, and the records.
#include "plugin/replies/ReplyTest.h"

#include <algorithm>
#include <filesystem>

using namespace kinloom_test;
using namespace W;

namespace {

namespace fs = std::filesystem;

const fs::path FOLDER = fs::path(GOLDEN_DIR) / "replies";

std::vector<STRING> replies()
{
    std::vector<STRING> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(FOLDER))
        if (entry.path().extension() == ".xml")
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

class GoldenReply : public ReplyTest, public testing::WithParamInterface<STRING> {
protected:
    template <class Record> STRING listed(const STRING& body)
    {
        const ListResult<Record> result = parseList<Record>(*oai, body);
        STRING text = "status " + std::to_string(result.status) + "\n";
        if (result.count != ListResult<Record>::UNTOUCHED)
            text += "told " + std::to_string(result.count) + "\n";
        return text + dump(result.records);
    }
    STRING slot(const STRING& body)
    {
        WContent content;
        const WSTATUS status = oai->parseString(body, content);
        return "status " + std::to_string(status) + "\n" + dump(content);
    }

    STRING read(const STRING& kind, const STRING& body)
    {
        if (kind == "contents")
            return listed<WContent>(body);
        if (kind == "groups")
            return listed<WGroup>(body);
        if (kind == "comments")
            return listed<WComment>(body);
        if (kind == "galleries")
            return listed<WKLGallery>(body);
        if (kind == "slot")
            return slot(body);
        ADD_FAILURE() << "no such kind: " << kind;
        return "";
    }
};

} // namespace

TEST_P(GoldenReply, GivesTheRecordsBesideIt)
{
    const STRING& name = GetParam();
    const STRING kind = name.substr(0, name.find('-'));
    const fs::path expected = FOLDER / (name.substr(0, name.find('.')) + ".records");
    ASSERT_TRUE(fs::exists(expected)) << expected;
    EXPECT_EQ(read(kind, readFile((FOLDER / name).string())), readFile(expected.string()));
}

INSTANTIATE_TEST_SUITE_P(Files, GoldenReply, testing::ValuesIn(replies()), [](const testing::TestParamInfo<STRING>& file) {
    STRING name = file.param.substr(0, file.param.rfind('.'));
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '-' || c == '.'; }, '_');
    return name;
});

TEST(GoldenReplies, AreAllThere)
{
    const std::vector<STRING> names = replies();
    EXPECT_GE(names.size(), 30u);
    for (const fs::directory_entry& entry : fs::directory_iterator(FOLDER)) {
        if (entry.path().extension() != ".records")
            continue;
        const STRING stem = entry.path().stem().string() + ".";
        EXPECT_TRUE(
            std::any_of(names.begin(), names.end(), [&](const STRING& name) { return name.compare(0, stem.size(), stem) == 0; }))
            << entry.path() << " belongs to no reply";
    }
}
