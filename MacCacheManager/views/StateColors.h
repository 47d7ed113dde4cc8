#pragma once

// The colours that the scheme does not give: what tells a state from the surface that it lies on.
// All of them are greys, computed from the surfaces at every draw.

#include <QColor>

#include <vector>

namespace corvid {

// How far two colours are apart for the eye, 1 to 21, by the Web Content Accessibility Guidelines.
double contrastRatio(const QColor& left, const QColor& right);

// What a mark (a focus ring, an outline, a disabled text) and what a text needs to be seen.
constexpr double kStateContrast = 3.0;
constexpr double kTextContrast = 4.5;

// For marks: the grey nearest to the surfaces that stands out from each of them by kStateContrast,
// lighter or darker as `text` is; the other way when there is none on that side. One of both there
// always is for surfaces whose own contrast is no more than 2.3.
QColor stateColor(const std::vector<QColor>& surfaces, const QColor& text);

// For texts: `text` if it stands out from the surface by kTextContrast, else the grey nearest to
// the surface that does, chosen alike.
QColor legibleText(const QColor& surface, const QColor& text);

} // namespace corvid
