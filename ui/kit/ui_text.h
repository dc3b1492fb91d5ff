#pragma once

#include <QString>
#include <QWidget>

namespace talvane {

/// A text of the program in the user's language (see platform/translation.h).
QString uiText(const char* english);

/// Translates what a form from the interface compiler shows: the texts of its buttons and labels,
/// and the names of all its widgets.
void translateForm(QWidget& form);

}  // namespace talvane
