#pragma once

#include <QCheckBox>
#include <QLineEdit>
#include <QString>

#include <string>

#include "engine/cleared.h"

namespace talvane {

/// A one-line text field.
class PanelField : public QLineEdit {
 public:
  explicit PanelField(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

/// A field for a seed. Takes out white space and dashes as they are typed or pasted.
class SeedField : public PanelField {
 public:
  explicit SeedField(QWidget* parent = nullptr);
};

/// The text in UTF-8, with nothing left behind by the conversion.
Cleared<std::string> secretText(const QString& text);

/// What the user has typed.
Cleared<std::string> secretIn(const QLineEdit& field);

/// Empties a field and clears its memory. "Undo" cannot bring the text back.
void forget(QLineEdit& field);

/// A check box without a caption; the box is at the left. Arrow keys with Alt are left to the
/// panel.
class PanelCheckbox : public QCheckBox {
 public:
  explicit PanelCheckbox(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
};

}  // namespace talvane
