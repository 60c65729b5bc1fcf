// Numbers of several rounds, and the tables that the benches print.
#pragma once

#include <functional>
#include <string>
#include <vector>

// Of one quantity, a number a round.
class Rounds {
public:
    void add(double value) { _values.push_back(value); }
    [[nodiscard]] double median() const;
    [[nodiscard]] double smallest() const;
    [[nodiscard]] double largest() const;

private:
    std::vector<double> _values;
};

// "12.3"
[[nodiscard]] std::string decimal(double value, int places = 1);
// "12.3 (11.9 to 13.0)": the median and what was between the rounds.
[[nodiscard]] std::string spread(const Rounds& rounds, int places = 1);

// A Markdown table on standard output, under a heading.
class Table {
public:
    Table(const std::string& heading, const std::vector<std::string>& columns);
    void row(std::vector<std::string> cells) const; // missing cells are empty
    // A line of text below the table; the table has ended then.
    static void note(const std::string& text);

private:
    size_t _columns;
};

// The positive number in this variable of the environment, else `usual`.
[[nodiscard]] unsigned numberWanted(const char* variable, unsigned usual);
// The rounds that a bench takes: PARLOVEX_BENCH_ROUNDS, else `usual`.
[[nodiscard]] unsigned roundsWanted(unsigned usual);

// The body of a bench's main(): prints what goes wrong, and gives the exit code.
[[nodiscard]] int runBench(const std::function<void()>& bench);
