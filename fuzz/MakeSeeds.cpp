// SPDX-License-Identifier: MIT
// Writes what the fuzzers begin with: replies of every kind in every shape, hostile bodies, and the texts of SeedTexts.cpp.
//
// Usage: fuzz_seeds FOLDER     makes FOLDER/TARGET/... for each target
#include "SeedTexts.h"
#include "Targets.h"
#include "helper/Messages.h"
#include "plugin/replies/Hostile.h"
#include "replies/Samples.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>

namespace {

namespace fs = std::filesystem;
using Inputs = std::vector<std::string>;

constexpr std::size_t LONGEST = 8000; // short inputs are tried more often

Inputs replies()
{
    Inputs inputs;
    for (const test::Shape shape : test::SHAPES)
        for (const test::Layout layout : {test::Layout::COMPACT, test::Layout::INDENTED})
            for (const std::string& body :
                 {test::feedReply(2, shape, layout), test::viewReply(1, 1, shape, layout), test::groupsReply(1, shape, layout),
                  test::commentsReply(2, shape, layout), test::galleryReply(1, shape, layout)})
                inputs.push_back(body);
    for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(GOLDEN_DIR) / "replies")) {
        if (entry.path().extension() != ".xml")
            continue;
        std::ifstream file(entry.path(), std::ios::binary);
        inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return inputs;
}

Inputs hostileReplies()
{
    Inputs inputs;
    const auto add = [&](const std::vector<test::HostileBody>& bodies) {
        for (const test::HostileBody& hostile : bodies)
            if (hostile.body.size() <= LONGEST)
                inputs.push_back(hostile.body);
    };
    add(test::documentTypes("/etc/hostname", "http://127.0.0.1:1/x"));
    add(test::disguises("<!DOCTYPE rsp><rsp><data><content contentId='1'/></data></rsp>", true));
    add(test::disguises("<rsp><data><content contentId='1' contentDesc='d'/></data></rsp>", false));
    add(test::brokenTexts());
    for (const test::Growth& growth : test::growths())
        inputs.push_back(growth.make(500));
    return inputs;
}

Inputs helperMessages()
{
    namespace message = kinloom::message;
    kinloom::Settings settings;
    settings.plugin = "libwkloai.so";
    settings.options = {{"app_id", "a"}, {"AuthToken", "t"}, {"duid", "d"}};
    W::WContent content;
    content.setUID("7");
    content.setComments(std::list<W::WComment>(2));
    const kinloom::CallFailure failure{kinloom::FailureKind::FAILED, W::WSTATUS_UNREACHABLE, "sign in", "http://h", "why"};
    Inputs inputs;
    for (const message::Message& each :
         {message::Message(message::Hello{}), message::Message(message::SetUp{settings}),
          message::Message(message::Order{1, std::chrono::seconds(45), kinloom::ReadFeed{}}),
          message::Message(message::Order{2, std::chrono::seconds(45), kinloom::DownloadFile{"http://h/x", "/tmp", "", "x"}}),
          message::Message(message::Cancel{1}), message::Message(message::Begun{1}), message::Message(message::Moved{2, {1.5, 3}}),
          message::Message(message::Warned{"not encrypted"}), message::Message(message::Ended{1, failure}),
          message::Message(message::Ended{2, kinloom::CallValue(content)})})
        inputs.push_back(message::encode(each));
    return inputs;
}

const Inputs VERDICTS = {
    "<rsp><result><stat>ok</stat></result></rsp>",   "<rsp><result><stat>fail</stat><code>24</code><desc>d</desc></result></rsp>",
    "<rsp><stat>ok</stat><userId>u1</userId></rsp>", "<rsp userId='u1'><stat>ok</stat></rsp>",
    "<rsp><err code='1'/><stat>fail</stat></rsp>",   "<rsp><data contentId='1' uploadUrl='u'/></rsp>",
};

Inputs join(const std::vector<Inputs>& parts)
{
    Inputs all;
    for (const Inputs& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

void write(const fs::path& folder, const Inputs& inputs)
{
    fs::remove_all(folder);
    fs::create_directories(folder);
    for (std::size_t i = 0; i < inputs.size(); ++i)
        std::ofstream(folder / ("seed" + std::to_string(i)), std::ios::binary) << inputs[i];
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    try {
        const Inputs documents = join({replies(), hostileReplies(), VERDICTS});
        std::map<std::string, Inputs> seeds = fuzz::seedTexts();
        seeds["helper_message"] = helperMessages();
        for (const fuzz::Target& target : fuzz::TARGETS) {
            const auto own = seeds.find(target.name);
            write(fs::path(argv[1]) / target.name, own == seeds.end() ? documents : own->second);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
