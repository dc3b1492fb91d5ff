#pragma once

#include <QRgb>
#include <algorithm>
#include <cmath>

namespace talvane::test {

inline double linear(int channel) {
  const double c = channel / 255.0;
  return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

inline double luminance(QRgb colour) {
  return 0.2126 * linear(qRed(colour)) + 0.7152 * linear(qGreen(colour)) +
         0.0722 * linear(qBlue(colour));
}

/// The contrast ratio of WCAG 2: from 1, of the same luminance, to 21, of black and white.
inline double contrast(QRgb a, QRgb b) {
  const double one = luminance(a);
  const double other = luminance(b);
  return (std::max(one, other) + 0.05) / (std::min(one, other) + 0.05);
}

}  // namespace talvane::test
