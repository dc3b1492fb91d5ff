#pragma once

#include "ui/kit/flipped_view.h"

namespace talvane {

/// What every view stands on: the logo band at the top, the toolbar band at the bottom, and tiles
/// between them. The view's content comes above.
class PanelBackground : public FlippedView {
 public:
  explicit PanelBackground(int height);

  /// Takes the view's content, and above it, as it would take its clicks, the close button.
  void hold(QWidget* content, QWidget* close);
};

}  // namespace talvane
