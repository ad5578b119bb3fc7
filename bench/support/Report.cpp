// SPDX-License-Identifier: MIT
#include "support/Report.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

namespace bench {

namespace {

nlohmann::json describe(const std::string& name, const Summary& value, const std::string& unit, std::optional<double> goal,
                        Better better)
{
    nlohmann::json figure;
    figure["name"] = name;
    figure["value"] = value.median;
    figure["spread"] = {value.low, value.high};
    figure["unit"] = unit;
    figure["goal"] = goal ? nlohmann::json(*goal) : nlohmann::json();
    figure["better"] = better == Better::LOWER ? "lower" : "higher";
    return figure;
}

} // namespace

Arguments Arguments::read(int argc, char** argv)
{
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--quick") {
            arguments.quick = true;
        } else if (argument == "--out" && i + 1 < argc) {
            arguments.out = argv[++i];
        } else {
            std::cerr << "usage: " << argv[0] << " [--quick] [--out FILE]\n";
            std::exit(2);
        }
    }
    return arguments;
}

int runProgram(int argc, char** argv, void (*run)(const Arguments& arguments))
{
    try {
        run(Arguments::read(argc, argv));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << argv[0] << ": " << error.what() << '\n';
        return 1;
    }
}

Report::Report(const Arguments& arguments)
{
    if (!arguments.out.empty())
        m_file.open(arguments.out, std::ios::app);
}

void Report::figure(const std::string& name, const Summary& value, const std::string& unit, double goal, Better better)
{
    write(describe(name, value, unit, goal, better).dump());
}

void Report::figure(const std::string& name, const Summary& value, const std::string& unit, Better better)
{
    write(describe(name, value, unit, std::nullopt, better).dump());
}

void Report::series(const std::string& name, const std::string& title, const std::string& sizeLabel, const std::string& unit,
                    const std::vector<std::pair<double, double>>& points)
{
    nlohmann::json plot;
    plot["series"] = name;
    plot["title"] = title;
    plot["size"] = sizeLabel;
    plot["unit"] = unit;
    plot["points"] = points;
    write(plot.dump());
}

void Report::write(const std::string& line)
{
    std::ostream& out = m_file.is_open() ? m_file : std::cerr;
    out << line << std::endl;
}

} // namespace bench
