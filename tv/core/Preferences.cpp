// SPDX-License-Identifier: MIT
#include "tv/core/Preferences.h"

#include "tv/core/Keeping.h"

#include <algorithm>
#include <functional>

namespace tv {

namespace {

constexpr std::size_t MOST_PHRASES = 12;
constexpr std::size_t LONGEST_PHRASE = 200; ///< in bytes
constexpr double SHORTEST_SLIDE = 0.1;
constexpr double LONGEST_SLIDE = 3600;
constexpr double LONGEST_IDLE = 24 * 60;

using Fits = std::function<bool(const Json& value)>;

Fits isBetween(double low, double high)
{
    return [=](const Json& value) { return value.is_number() && value.get<double>() >= low && value.get<double>() <= high; };
}

Fits isOneOf(std::vector<std::string> words)
{
    return [words = std::move(words)](const Json& value) {
        return value.is_string() && std::find(words.begin(), words.end(), value.get<std::string>()) != words.end();
    };
}

bool isFlag(const Json& value) { return value.is_boolean(); }

/// "22:00"
bool isTime(const Json& value)
{
    if (!value.is_string())
        return false;
    const auto& text = value.get_ref<const std::string&>();
    const auto digit = [&](std::size_t place) { return text[place] >= '0' && text[place] <= '9'; };
    return text.size() == 5 && digit(0) && digit(1) && text[2] == ':' && digit(3) && digit(4) && text.substr(0, 2) < "24" &&
           text[3] < '6';
}

bool isNight(const Json& value)
{
    return value.is_null() ||
           (value.is_object() && value.size() == 2 && isTime(value.value("from", Json())) && isTime(value.value("to", Json())));
}

bool isPhrases(const Json& value)
{
    return value.is_array() && value.size() <= MOST_PHRASES && std::all_of(value.begin(), value.end(), [](const Json& phrase) {
               return phrase.is_string() && !phrase.get_ref<const std::string&>().empty() &&
                      phrase.get_ref<const std::string&>().size() <= LONGEST_PHRASE;
           });
}

struct Preference {
    const char* name;
    Json first; ///< its value on a new television
    Fits fits;
    const char* kind; ///< what its value must be
};

const std::vector<Preference>& preferences()
{
    static const std::vector<Preference> all = {
        {"seconds", 8, isBetween(SHORTEST_SLIDE, LONGEST_SLIDE), "a number from 0.1 to 3600"},
        {"order", "shuffle", isOneOf({"shuffle", "time"}), "'shuffle' or 'time'"},
        {"night", nullptr, isNight, "null, or 'from' and 'to' as in 22:00"},
        {"idle_minutes", 10, isBetween(0, LONGEST_IDLE), "a number from 0, for never, to 1440"},
        {"clock", true, isFlag, "true or false"},
        {"caption", true, isFlag, "true or false"},
        {"motion", true, isFlag, "true or false"},
        {"pairs", true, isFlag, "true or false"},
        {"phrases", Json::array({"\u2764\ufe0f", "\U0001F44D", "\U0001F602", "\U0001F60D", "\U0001F389", "\U0001F44F"}), isPhrases,
         "a list of up to 12 texts"},
        {"language", "auto", isOneOf({"auto", "en", "de"}), "'auto', 'en' or 'de'"},
    };
    return all;
}

} // namespace

Preferences::Preferences(std::string path) : m_path(std::move(path)), m_values(Json::object())
{
    const Json kept = readKept(m_path);
    for (const Preference& preference : preferences()) {
        const auto value = kept.is_object() ? kept.find(preference.name) : kept.end();
        m_values[preference.name] = kept.is_object() && value != kept.end() && preference.fits(*value) ? *value : preference.first;
    }
}

Json Preferences::all() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_values;
}

Json Preferences::change(const Json& object)
{
    if (!object.is_object())
        throw BadValue("Settings are a JSON object.");
    const std::lock_guard<std::mutex> lock(m_mutex);
    Json values = m_values;
    for (const auto& [name, value] : object.items()) {
        const auto preference =
            std::find_if(preferences().begin(), preferences().end(),
                         [wanted = std::string_view(name)](const Preference& one) { return wanted == one.name; });
        if (preference == preferences().end())
            throw BadValue("There is no setting '" + name + "'.");
        if (!preference->fits(value))
            throw BadValue(name + " must be " + preference->kind + ".");
        values[name] = value;
    }
    m_values = values;
    keep(m_path, m_values);
    return values;
}

} // namespace tv
