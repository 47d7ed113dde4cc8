#include "benchmarks/driver/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace corvid::bench {

namespace {

constexpr int kLabelWidth = 520;
constexpr int kBoundX = 300; // from the start of the bars: where a bound is used up
constexpr int kPlotWidth = 450;
constexpr int kNumbersWidth = 330;
constexpr int kRowHeight = 22;
constexpr int kTop = 34;

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        default:
            result += c;
        }
    }
    return result;
}

// The share of the bound that a value uses up: 1 at the bound, less where it is met. Between two
// bounds it is the distance from their middle.
double share(const Bound& bound, double value) {
    if (std::isinf(bound.least)) {
        return value / bound.most;
    }
    if (std::isinf(bound.most)) {
        return bound.least / value;
    }
    const double distance = std::fabs(value - (bound.least + bound.most) / 2);
    return distance > 0 ? distance / ((bound.most - bound.least) / 2) : 0;
}

int lengthOf(double value) {
    return static_cast<int>(std::lround(std::clamp(value * kBoundX, 0.0, 1.0 * kPlotWidth)));
}

std::string textAt(int x, int y, const char* anchor, const std::string& text) {
    return "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" text-anchor=\"" +
           anchor + "\">" + escaped(text) + "</text>\n";
}

std::string box(int x, int y, int width, int height, const char* cssClass) {
    return "<rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" width=\"" +
           std::to_string(width) + "\" height=\"" + std::to_string(height) + "\" class=\"" +
           cssClass + "\"/>\n";
}

std::string bar(const Row& row, int y) {
    const Bound& bound = *row.bound;
    const int length = lengthOf(share(bound, row.measured.median));
    const auto [from, to] = std::minmax({lengthOf(share(bound, row.measured.least)), length,
                                         lengthOf(share(bound, row.measured.greatest))});
    const std::vector<std::string> cells = cellsOf(row);
    const bool isMet = bound.isMetBy(row.measured.median);
    const int middle = y + kRowHeight - 7;
    return textAt(kLabelWidth - 8, middle, "end", cells[0] + ": " + cells[1]) +
           box(kLabelWidth, y + 4, std::max(length, 1), kRowHeight - 8, isMet ? "met" : "missed") +
           box(kLabelWidth + from, y + kRowHeight / 2 - 1, std::max(to - from, 1), 2, "span") +
           textAt(kLabelWidth + kPlotWidth + 8, middle, "start", cells[2] + ", " + cells[3]);
}

} // namespace

std::string barPlot(const std::vector<Row>& rows) {
    std::string bars;
    int y = kTop;
    for (const Row& row : rows) {
        if (row.bound) {
            bars += bar(row, y);
            y += kRowHeight;
        }
    }
    const int width = kLabelWidth + kPlotWidth + kNumbersWidth;
    const std::string size =
        "width=\"" + std::to_string(width) + "\" height=\"" + std::to_string(y + 10) + "\"";
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" " + size +
           " font-family=\"sans-serif\" font-size=\"12\">\n"
           "<style>.met{fill:#4a8f5c}.missed{fill:#c0504d}.span{fill:#222}"
           ".bound{fill:#666}.paper{fill:#fff}</style>\n" +
           box(0, 0, width, y + 10, "paper") +
           textAt(kLabelWidth + kBoundX, 20, "middle", "the bound") + bars +
           box(kLabelWidth + kBoundX, kTop - 8, 1, y - kTop + 10, "bound") + "</svg>\n";
}

} // namespace corvid::bench
