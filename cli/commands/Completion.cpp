// SPDX-License-Identifier: MIT
#include "commands/Completion.h"

#include "commands/Command.h"
#include "commands/Lookup.h"
#include "core/Text.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <map>
#include <mutex>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace kinloom {

namespace {

using commandline::CommandEntry;
using commandline::OptionEntry;

/// A shell asks while a person types: what takes longer is no help.
constexpr double PATIENCE = 1.5;            // seconds, for one answer of the service
constexpr std::chrono::seconds DEADLINE(2); // for all of them
constexpr std::time_t KEPT_SECONDS = 60;

bool startsWith(const std::string& text, const std::string& beginning) { return text.compare(0, beginning.size(), beginning) == 0; }

/// The words that an option's description ends with, where it takes one of a table's: "Their order: alphabetical|created".
std::vector<std::string> wordsIn(const std::string& description)
{
    std::vector<std::string> words;
    const std::size_t colon = description.rfind(": ");
    if (colon == std::string::npos || description.find('|', colon) == std::string::npos)
        return words;
    std::istringstream rest(description.substr(colon + 2));
    for (std::string word; std::getline(rest, word, '|');)
        words.push_back(word);
    return words;
}

const OptionEntry* findOption(const std::vector<const CommandEntry*>& path, const std::string& name)
{
    for (const CommandEntry* const command : path)
        for (const OptionEntry& option : command->options)
            if (std::find(option.names.begin(), option.names.end(), name) != option.names.end())
                return &option;
    return nullptr;
}

/// What the words before the one that is being typed have come to.
struct Position {
    std::vector<const CommandEntry*> path;    ///< the program and the commands below it
    std::vector<std::string> values;          ///< known by their places
    const OptionEntry* option = nullptr;      ///< whose value comes next
    std::map<std::string, std::string> given; ///< options with values
    bool optionsEnded = false;

    const CommandEntry& command() const { return *path.back(); }
};

void takeOption(Position& position, const std::string& word)
{
    const std::size_t equals = word.find('=');
    const OptionEntry* const option = findOption(position.path, word.substr(0, equals));
    if (option == nullptr || !option->takesValue)
        return;
    if (equals == std::string::npos)
        position.option = option;
    else
        position.given[option->names.front()] = word.substr(equals + 1);
}

void takePlace(Position& position, const std::string& word)
{
    const std::vector<CommandEntry>& commands = position.command().commands;
    const auto found = std::find_if(commands.begin(), commands.end(), [&](const CommandEntry& one) { return one.name == word; });
    if (found != commands.end() && position.values.empty())
        position.path.push_back(&*found);
    else
        position.values.push_back(word);
}

Position positionBehind(const CommandEntry& program, const std::vector<std::string>& words)
{
    Position position;
    position.path.push_back(&program);
    for (const std::string& word : words) {
        if (position.option != nullptr) {
            position.given[position.option->names.front()] = word;
            position.option = nullptr;
        } else if (!position.optionsEnded && word == "--") {
            position.optionsEnded = true;
        } else if (!position.optionsEnded && word.size() > 1 && word.front() == '-') {
            takeOption(position, word);
        } else {
            takePlace(position, word);
        }
    }
    return position;
}

/// What a place of the table holds, by its name.
struct PlaceKind {
    const char* name;
    Completions::Files files;
    bool groups;
    bool keys;
};

constexpr PlaceKind PLACES[] = {
    {"GROUP", Completions::Files::NONE, true, false},      {"FILE", Completions::Files::FILES, false, false},
    {"DIR", Completions::Files::FOLDERS, false, false},    {"KEY", Completions::Files::NONE, false, true},
    {"--config", Completions::Files::FILES, false, false}, {"--plugin", Completions::Files::FILES, false, false},
};

class Finder {
public:
    explicit Finder(std::string beginning) : m_beginning(std::move(beginning)) {}

    void offer(const std::string& text, const std::string& description)
    {
        const auto isIt = [&](const Completions::Candidate& one) { return one.text == text; };
        const std::vector<Completions::Candidate>& found = m_found.candidates;
        if (startsWith(text, m_beginning) && std::none_of(found.begin(), found.end(), isIt))
            m_found.candidates.push_back({text, description});
    }
    void offerValue(const OptionEntry& option, const std::function<std::vector<Named>()>& groups)
    {
        for (const std::string& word : wordsIn(option.description))
            offer(word, "");
        for (const PlaceKind& place : PLACES) {
            if (option.names.front() != place.name)
                continue;
            m_found.files = place.files;
            if (place.keys)
                for (const std::string& key : configKeys())
                    offer(key, "");
            if (place.groups)
                offerGroups(groups());
        }
    }
    void offerOptions(const Position& position)
    {
        for (const CommandEntry* const command : position.path)
            for (const OptionEntry& option : command->options)
                for (const std::string& name : option.names)
                    if (startsWith(name, "--"))
                        offer(name, option.description);
    }
    Completions take() { return std::move(m_found); }

private:
    void offerGroups(const std::vector<Named>& groups)
    {
        for (const Named& group : groups) {
            const std::string word = wordFor(group, groups);
            offer(word, word == group.uid ? group.name : "group " + group.uid);
        }
    }

    std::string m_beginning;
    Completions m_found;
};

const OptionEntry* placeAt(const CommandEntry& command, std::size_t index)
{
    const OptionEntry* last = nullptr;
    for (const OptionEntry& option : command.options) {
        if (!option.byPlace())
            continue;
        last = &option;
        if (index-- == 0)
            return last;
    }
    return last != nullptr && last->repeats ? last : nullptr;
}

/// Where the names are noted; empty where there is no place for it.
std::string notePath(Context& context)
{
    const char* const cache = std::getenv("XDG_CACHE_HOME"); // NOLINT(concurrency-mt-unsafe): nothing changes the environment
    const std::string home = W::homeFolder();
    if (home.empty() && (cache == nullptr || cache[0] != '/'))
        return {};
    const std::string folder = (cache != nullptr && cache[0] == '/' ? cache : home + "/.cache") + "/kinloom";
    const std::string whose = context.lane().address() + "\n" + context.config().option("Kinloom", "duid").value_or("");
    std::ostringstream name;
    name << folder << "/groups-" << std::hex << std::hash<std::string>()(whose);
    return name.str();
}

/// What was noted less than a minute ago.
bool readNote(const std::string& path, std::vector<Named>& names)
{
    struct stat info {};
    if (path.empty() || stat(path.c_str(), &info) != 0)
        return false;
    const std::time_t age = std::time(nullptr) - info.st_mtime;
    if (age < 0 || age >= KEPT_SECONDS)
        return false;
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    std::string text;
    char block[4096];
    for (ssize_t count = 0; file && (count = read(file.get(), block, sizeof block)) > 0;)
        text.append(block, static_cast<std::size_t>(count));
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (const std::size_t tab = line.find('\t'); tab != std::string::npos)
            names.push_back({line.substr(0, tab), line.substr(tab + 1)});
    return true;
}

/// Notes names; one that a line cannot hold is left out. Without a place for it, nothing is noted.
void writeNote(const std::string& path, const std::vector<Named>& names)
{
    if (path.empty())
        return;
    const std::string folder = path.substr(0, path.rfind('/'));
    mkdir(folder.substr(0, folder.rfind('/')).c_str(), 0700);
    mkdir(folder.c_str(), 0700);
    std::string text;
    for (const Named& one : names)
        if (one.name.find_first_of("\t\n") == std::string::npos)
            text.append(one.uid).append("\t").append(one.name).append("\n");
    const std::string temporary = path + "." + std::to_string(getpid());
    const Descriptor file(open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file)
        return;
    if (write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        rename(temporary.c_str(), path.c_str()) != 0)
        unlink(temporary.c_str());
}

/// The options of the line that is being typed, as far as they say where the service is.
GlobalOptions optionsOf(const CommandEntry& program, const std::vector<std::string>& words)
{
    const Position position = positionBehind(program, words);
    const auto given = [&](const char* name) {
        const auto found = position.given.find(name);
        return found == position.given.end() ? std::string() : found->second;
    };
    GlobalOptions options;
    options.service = given("--service");
    options.config = given("--config");
    options.plugin = given("--plugin");
    options.timeout = PATIENCE;
    options.retries = 0;
    return options;
}

/// Rings a bell when time is up, or not at all.
class Deadline {
public:
    Deadline(Interruption bell, std::chrono::milliseconds time)
        : m_thread([this, bell = std::move(bell), end = std::chrono::steady_clock::now() + time]() mutable {
              std::unique_lock<std::mutex> lock(m_mutex);
              if (!m_changed.wait_until(lock, end, [this] { return m_over; })) {
                  lock.unlock();
                  bell.ring();
              }
          })
    {
    }
    ~Deadline()
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_over = true;
        }
        m_changed.notify_all();
        m_thread.join();
    }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_over = false;
    std::thread m_thread; ///< begins when all else is there
};

void print(Output& output, const Completions& found)
{
    std::string text;
    if (found.files == Completions::Files::FILES)
        text += "@files\n";
    if (found.files == Completions::Files::FOLDERS)
        text += "@folders\n";
    for (const Completions::Candidate& candidate : found.candidates)
        text.append("=").append(candidate.text).append("\t").append(neutralised(candidate.description)).append("\n");
    output.write(text);
}

} // namespace

Completions complete(const CommandEntry& program, const std::vector<std::string>& words,
                     const std::function<std::vector<Named>()>& groups)
{
    if (words.empty())
        return {};
    const Position position = positionBehind(program, std::vector<std::string>(words.begin(), words.end() - 1));
    const std::string& typed = words.back();
    Finder finder(typed);
    if (position.option != nullptr) {
        finder.offerValue(*position.option, groups);
    } else if (!position.optionsEnded && !typed.empty() && typed.front() == '-') {
        finder.offerOptions(position);
    } else if (!position.command().commands.empty()) {
        if (position.values.empty())
            for (const CommandEntry& command : position.command().commands)
                finder.offer(command.name, command.description);
    } else if (const OptionEntry* const place = placeAt(position.command(), position.values.size())) {
        finder.offerValue(*place, groups);
    }
    return finder.take();
}

std::vector<std::string> wordsOf(const std::string& line)
{
    std::vector<std::string> words;
    std::string word;
    bool begun = false;
    char quote = '\0';
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quote == '\0' && (c == ' ' || c == '\t' || c == '\n')) {
            if (begun)
                words.push_back(std::move(word));
            word.clear();
            begun = false;
            continue;
        }
        begun = true;
        if (c == '\\' && quote != '\'' && i + 1 < line.size())
            word += line[++i];
        else if (c == quote)
            quote = '\0';
        else if (quote == '\0' && (c == '"' || c == '\''))
            quote = c;
        else if (c != '\\' || quote == '\'')
            word += c;
    }
    words.push_back(std::move(word));
    return words;
}

std::vector<Named> GroupNames::get(Context& context)
{
    const std::string path = notePath(context);
    std::vector<Named> names;
    if (readNote(path, names))
        return names;
    names = namesOf(allGroups(context, W::KL_INCLUDE_NONE));
    writeNote(path, names);
    return names;
}

void GroupNames::forget(Context& context)
{
    if (const std::string path = notePath(context); !path.empty())
        unlink(path.c_str());
}

int answerShell(Output& output, const CommandEntry& program, const std::vector<std::string>& arguments)
{
    try {
        std::vector<std::string> words;
        if (arguments.size() == 2 && arguments[0] == "--line") {
            words = wordsOf(arguments[1]);
            words.erase(words.begin()); // the program's name
        } else if (!arguments.empty() && arguments[0] == "--") {
            words.assign(arguments.begin() + 1, arguments.end());
        }
        const Interrupt interrupt;
        const GlobalOptions options = optionsOf(program, words);
        print(output, complete(program, words, [&] {
                  Output::setQuiet(true);
                  const Deadline deadline(interrupt.interruption(), DEADLINE);
                  Context context(options, output, interrupt);
                  return GroupNames::get(context);
              }));
    } catch (const std::exception&) {
        // A person who types does not want to be told of it.
    }
    return 0;
}

} // namespace kinloom
