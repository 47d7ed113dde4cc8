#pragma once

// The figures as they come in, and the forms in which they are handed out.

#include "benchmarks/driver/measurement.h"

#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace corvid::bench {

struct Bound {
    double least = -std::numeric_limits<double>::infinity();
    double most = std::numeric_limits<double>::infinity();

    bool isMetBy(double value) const { return value >= least && value <= most; }
    std::string text(const std::string& unit) const;
};

Bound atMost(double most);
Bound atLeast(double least);
Bound between(double least, double most);

struct Row {
    std::string what;
    std::string figure;
    Statistics measured;
    std::string unit; // "x" for a ratio
    std::optional<Bound> bound;
};

class Report {
public:
    explicit Report(std::vector<std::string> machine) : m_machine(std::move(machine)) {}

    // Each is also told on the standard error at once.
    void add(const std::string& what, const std::string& figure, const Statistics& measured,
             const std::string& unit, std::optional<Bound> bound = std::nullopt);
    // What could not be measured here, which is no failure.
    void skip(const std::string& what, const std::string& why);
    void fail(const std::string& what, const std::string& why);

    const std::vector<Row>& rows() const { return m_rows; }
    bool hasFailed() const { return m_failed; }

    std::string text() const;
    std::string markdown() const;
    std::string json() const;

private:
    std::vector<std::string> m_machine;
    std::vector<Row> m_rows;
    std::vector<std::string> m_notes;
    bool m_failed = false;
};

// "1.08x", "0.553 s"
std::string numberText(double value, const std::string& unit);
// The cells of a row: what, figure, measured, bound, met.
std::vector<std::string> cellsOf(const Row& row);

// A picture of the rows that have a bound: each bar is the share of its bound that is used up.
std::string barPlot(const std::vector<Row>& rows);

} // namespace corvid::bench
