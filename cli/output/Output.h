// SPDX-License-Identifier: MIT
/// \file Where the program writes.
#ifndef KINLOOM_OUTPUT_OUTPUT_H
#define KINLOOM_OUTPUT_OUTPUT_H

#include "core/Descriptor.h"
#include "output/Json.h"

#include <string>
#include <string_view>

namespace kinloom {

/// A document as text in which nothing can steer a terminal: such characters are escapes.
std::string harmlessJson(const Json& document);

/// The program's results, on what was standard output when it began, and its messages, on standard error.
///
/// The plugin writes its log to standard output by contract. So that it never gets between the results, the program keeps a
/// duplicate of its output for itself before the plugin is loaded, and leads descriptor 1 elsewhere.
class Output {
public:
    /// \throw std::system_error when descriptors run out.
    Output();

    /// Leads descriptor 1, and with it the plugin's log, to standard error, or to nowhere.
    void divertLog(bool toStandardError) const;

    /// Without colours, whatever the terminal can do.
    void setColour(bool colour) { m_colour = colour; }
    bool colour() const { return m_terminal && m_colour; }
    /// True when results go to a terminal.
    bool isTerminal() const { return m_terminal; }
    /// Aligns tables although results do not go to a terminal.
    void setTables() { m_tables = true; }
    bool tables() const { return m_terminal || m_tables; }
    /// Columns and rows of the terminal that results go to; when it does not say, COLUMNS and LINES, else 80 and 24.
    struct Size {
        std::size_t columns = 80;
        std::size_t rows = 24;
    };
    Size size() const;

    /// Writes bytes as they are. \throw Failure when they cannot be written, OutputClosed when nobody reads them any more.
    void write(std::string_view bytes);
    /// Writes a line.
    void line(std::string_view text) { write(std::string(text) + "\n"); }
    /// Writes a JSON document; invalid UTF-8 in it becomes U+FFFD. What could steer a terminal is written as an escape, which is
    /// the same text to whoever reads the document.
    void json(const Json& document);
    bool wroteJson() const { return m_wroteJson; }

    /// Writes a line to standard error, with the program's name in front; controls in it are neutralised.
    static void note(std::string_view message);
    /// The same for what helps but is no failure; nothing when the person wants quiet.
    static void hint(std::string_view message);
    /// Without hints and progress.
    static void setQuiet(bool quiet);
    static bool quiet();
    /// True when messages go to a terminal on which a line can be written anew.
    static bool messagesAreWatched();
    /// Columns of the terminal that messages go to.
    static std::size_t messageColumns();
    /// Its rows.
    static std::size_t messageRows();
    /// Writes bytes to standard error as they are.
    static void message(std::string_view bytes);

private:
    Descriptor m_results;
    bool m_terminal = false;
    bool m_tables = false;
    bool m_colour = true;
    bool m_wroteJson = false;
};

} // namespace kinloom

#endif
