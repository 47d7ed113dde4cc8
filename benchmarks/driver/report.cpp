#include "benchmarks/driver/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace corvid::bench {

namespace {

std::vector<std::string> titles() {
    return {"what", "figure", "measured", "bound", "met"};
}

std::string fixed(double value, int decimals) {
    char text[64];
    static_cast<void>(std::snprintf(text, sizeof(text), "%.*f", decimals, value));
    return text;
}

// Three significant digits, but never fewer than stand before the point; ratios always two behind
// it.
int decimalsOf(double value, const std::string& unit) {
    const double size = std::fabs(value);
    if (unit == "x" && size < 100) {
        return 2;
    }
    return size < 1 ? 3 : size < 10 ? 2 : size < 100 ? 1 : 0;
}

std::string unitText(const std::string& unit) {
    return unit.empty() || unit == "x" ? unit : " " + unit;
}

std::string measuredText(const Row& row) {
    const Statistics& measured = row.measured;
    std::string median = numberText(measured.median, row.unit);
    if (measured.least == measured.greatest) {
        return median;
    }
    const int decimals = decimalsOf(measured.median, row.unit);
    return median + " (" + fixed(measured.least, decimals) + ".." +
           fixed(measured.greatest, decimals) + ")";
}

void appendLine(std::string& text, const std::vector<std::string>& cells,
                const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        line += cells[i] + std::string(widths[i] - cells[i].size() + 2, ' ');
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
}

std::string joined(const std::vector<std::string>& cells) {
    std::string line = "|";
    for (const std::string& cell : cells) {
        line += " " + cell + " |";
    }
    return line + "\n";
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result += '\\';
        }
        result += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
    }
    return result + "\"";
}

// Neither infinities nor what is not a number exist in JSON.
std::string jsonNumber(double value) {
    char text[64];
    static_cast<void>(std::snprintf(text, sizeof(text), "%.6g", value));
    return std::isfinite(value) ? text : "null";
}

std::string jsonList(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) {
        list += (list.empty() ? "" : ", ") + quoted(text);
    }
    return "[" + list + "]";
}

std::string jsonRow(const Row& row) {
    const Bound bound = row.bound.value_or(Bound{});
    std::string text = "{\"what\": " + quoted(row.what) + ", \"figure\": " + quoted(row.figure) +
                       ", \"unit\": " + quoted(row.unit) +
                       ", \"median\": " + jsonNumber(row.measured.median) +
                       ", \"least\": " + jsonNumber(row.measured.least) +
                       ", \"greatest\": " + jsonNumber(row.measured.greatest) + ", \"bound\": [" +
                       jsonNumber(bound.least) + ", " + jsonNumber(bound.most) + "], \"met\": ";
    return text +
           (!row.bound                                ? "null"
            : row.bound->isMetBy(row.measured.median) ? "true"
                                                      : "false") +
           "}";
}

} // namespace

std::string Bound::text(const std::string& unit) const {
    if (std::isinf(least)) {
        return "at most " + numberText(most, unit);
    }
    if (std::isinf(most)) {
        return "at least " + numberText(least, unit);
    }
    return numberText(least, "x").substr(0, 4) + " to " + numberText(most, unit);
}

Bound atMost(double most) {
    Bound bound;
    bound.most = most;
    return bound;
}

Bound atLeast(double least) {
    Bound bound;
    bound.least = least;
    return bound;
}

Bound between(double least, double most) {
    return {least, most};
}

std::string numberText(double value, const std::string& unit) {
    return fixed(value, decimalsOf(value, unit)) + unitText(unit);
}

std::vector<std::string> cellsOf(const Row& row) {
    std::string bound;
    std::string met;
    if (row.bound) {
        bound = row.bound->text(row.unit);
        met = row.bound->isMetBy(row.measured.median) ? "yes" : "NO";
    }
    return {row.what, row.figure, measuredText(row), bound, met};
}

void Report::add(const std::string& what, const std::string& figure, const Statistics& measured,
                 const std::string& unit, std::optional<Bound> bound) {
    m_rows.push_back({what, figure, measured, unit, bound});
    const std::vector<std::string> cells = cellsOf(m_rows.back());
    static_cast<void>(std::fprintf(stderr, "bench: %s: %s: %s\n", cells[0].c_str(),
                                   cells[1].c_str(), cells[2].c_str()));
}

void Report::skip(const std::string& what, const std::string& why) {
    m_notes.push_back("Skipped: " + what + ": " + why);
    static_cast<void>(std::fprintf(stderr, "bench: %s\n", m_notes.back().c_str()));
}

void Report::fail(const std::string& what, const std::string& why) {
    m_failed = true;
    m_notes.push_back("FAILED: " + what + ": " + why);
    static_cast<void>(std::fprintf(stderr, "bench: %s\n", m_notes.back().c_str()));
}

std::string Report::text() const {
    std::vector<std::vector<std::string>> lines = {titles()};
    std::transform(m_rows.begin(), m_rows.end(), std::back_inserter(lines), cellsOf);
    std::vector<std::size_t> widths(titles().size());
    for (const std::vector<std::string>& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            widths[i] = std::max(widths[i], line[i].size());
        }
    }
    std::string text;
    for (const std::string& line : m_machine) {
        text += line + "\n";
    }
    text += "\n";
    for (const std::vector<std::string>& line : lines) {
        appendLine(text, line, widths);
    }
    for (const std::string& note : m_notes) {
        text += note + "\n";
    }
    return text;
}

std::string Report::markdown() const {
    std::string text;
    for (const std::string& line : m_machine) {
        text += "- " + line + "\n";
    }
    text += "\n" + joined(titles()) + "|---|---|---|---|---|\n";
    for (const Row& row : m_rows) {
        text += joined(cellsOf(row));
    }
    for (const std::string& note : m_notes) {
        text += "\n" + note + "\n";
    }
    return text;
}

std::string Report::json() const {
    std::string rows;
    for (const Row& row : m_rows) {
        rows += (rows.empty() ? "\n  " : ",\n  ") + jsonRow(row);
    }
    return "{\"machine\": " + jsonList(m_machine) + ",\n \"rows\": [" + rows +
           "],\n \"notes\": " + jsonList(m_notes) + "}\n";
}

} // namespace corvid::bench
