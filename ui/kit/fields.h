#pragma once

#include <QCheckBox>
#include <QLineEdit>

namespace talvane {

/// A line of text to type into.
class PanelField : public QLineEdit {
 public:
  explicit PanelField(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

/// Empties a field, and leaves nothing that "Undo" could bring back.
void forget(QLineEdit& field);

/// A check box without a caption; the box is at its left end.
class PanelCheckbox : public QCheckBox {
 public:
  explicit PanelCheckbox(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace talvane
