#include "support/report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

double Rounds::median() const
{
    if (_values.empty())
        throw std::logic_error("no round was taken");
    std::vector<double> sorted = _values;
    std::sort(sorted.begin(), sorted.end());
    const size_t middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2;
}

double Rounds::smallest() const
{
    return *std::min_element(_values.begin(), _values.end());
}

double Rounds::largest() const
{
    return *std::max_element(_values.begin(), _values.end());
}

std::string decimal(double value, int places)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", places, value);
    return text;
}

std::string spread(const Rounds& rounds, int places)
{
    return decimal(rounds.median(), places) + " (" + decimal(rounds.smallest(), places) + " to " +
           decimal(rounds.largest(), places) + ")";
}

Table::Table(const std::string& heading, const std::vector<std::string>& columns) : _columns(columns.size())
{
    std::printf("\n### %s\n\n", heading.c_str());
    row(columns);
    row(std::vector<std::string>(columns.size(), "---"));
}

void Table::row(std::vector<std::string> cells) const
{
    cells.resize(std::max(cells.size(), _columns));
    for (const std::string& cell : cells)
        std::printf("| %s ", cell.c_str());
    std::printf("|\n");
    std::fflush(stdout);
}

void Table::note(const std::string& text)
{
    std::printf("\n%s\n", text.c_str());
    std::fflush(stdout);
}

unsigned numberWanted(const char* variable, unsigned usual)
{
    const char* const wanted = std::getenv(variable);
    return wanted == nullptr ? usual : static_cast<unsigned>(std::max(1, std::atoi(wanted)));
}

unsigned roundsWanted(unsigned usual)
{
    return numberWanted("PARLOVEX_BENCH_ROUNDS", usual);
}

int runBench(const std::function<void()>& bench)
{
    try {
        bench();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
