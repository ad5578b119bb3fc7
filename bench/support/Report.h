// SPDX-License-Identifier: MIT
/// \file What a benchmark program is asked, and what it reports.
#ifndef SUPPORT_REPORT_H
#define SUPPORT_REPORT_H

#include "support/Statistics.h"

#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace bench {

/// The command line that every benchmark program takes: [--quick] [--out FILE].
struct Arguments {
    bool quick = false; ///< fewer rounds and smaller files, to see that everything works
    std::string out;    ///< the file that figures are appended to; empty: standard error

    /// Ends the process with a message when it is called wrongly.
    static Arguments read(int argc, char** argv);
    /// One number for a whole run, another for a quick one.
    template <class Number> Number choose(Number whole, Number small) const { return quick ? small : whole; }
};

/// What main() of a benchmark program does. \return the exit status: 1 with a message when \p run throws.
int runProgram(int argc, char** argv, void (*run)(const Arguments& arguments));

/// Which way a figure is good.
enum class Better { LOWER, HIGHER };

/// Takes figures and writes each as a line of JSON.
class Report {
public:
    explicit Report(const Arguments& arguments);

    /// A figure with a goal.
    void figure(const std::string& name, const Summary& value, const std::string& unit, double goal, Better better);
    /// A figure for comparison, or a part of another one.
    void figure(const std::string& name, const Summary& value, const std::string& unit, Better better);
    /// A plot of growth. \param points pairs of the size and the figure.
    void series(const std::string& name, const std::string& title, const std::string& sizeLabel, const std::string& unit,
                const std::vector<std::pair<double, double>>& points);

private:
    void write(const std::string& line);

    std::ofstream m_file;
};

/// A value that was taken once.
inline Summary once(double value) { return {value, value, value}; }

} // namespace bench

#endif
