#pragma once

#include "ui/kit/flipped_view.h"

namespace talvane {

/// The background of every view: the logo band at the top, the toolbar band at the bottom, and
/// tiles between them. The view's content is on top of it.
class PanelBackground : public FlippedView {
 public:
  explicit PanelBackground(int height);

  /// Adds the view's content, and the close button above it, so that the content does not take its
  /// clicks.
  void hold(QWidget* content, QWidget* close);
};

}  // namespace talvane
