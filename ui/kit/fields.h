#pragma once

#include <QCheckBox>
#include <QLineEdit>

namespace talvane {

/// A one-line text field.
class PanelField : public QLineEdit {
 public:
  explicit PanelField(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

/// Empties a field, so that "Undo" cannot bring the text back.
void forget(QLineEdit& field);

/// A check box without a caption; the box is at the left.
class PanelCheckbox : public QCheckBox {
 public:
  explicit PanelCheckbox(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace talvane
