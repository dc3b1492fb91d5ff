#include "ui/panel/screens.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>
#include <vector>

#include "ui/desktop/bars.h"
#include "ui/kit/frame.h"
#include "ui/kit/look.h"
#include "ui/panel/panel_geometry.h"

namespace talvane {
namespace {

ScreenArea areaOf(const QScreen& screen, const Bars& bars) {
  const Frame whole = frameOf(screen.geometry());
  // Where the bars are not known, the toolkit may know.
  if (bars.struts.empty() && bars.work_areas.empty())
    return {whole, frameOf(screen.availableGeometry())};
  const double ratio = screen.devicePixelRatio();
  const auto pixels = [ratio](int points) { return static_cast<int>(std::lround(points * ratio)); };
  const Frame in_pixels{whole.x, whole.y, pixels(whole.width), pixels(whole.height)};
  return {whole, inPoints(workArea(in_pixels, bars), {whole.x, whole.y}, ratio)};
}

}  // namespace

std::vector<ScreenArea> desktopScreens() {
  const QScreen* primary = QGuiApplication::primaryScreen();
  if (primary == nullptr) return {};
  const Bars bars = desktopBars();
  std::vector<ScreenArea> screens{areaOf(*primary, bars)};
  for (const QScreen* screen : QGuiApplication::screens()) {
    if (screen != primary) screens.push_back(areaOf(*screen, bars));
  }
  return screens;
}

}  // namespace talvane
