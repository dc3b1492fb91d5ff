#pragma once

#include <string>

#include "engine/cleared.h"

namespace talvane {

/// The text of the one QR code in a picture.
struct QrImage {
  Cleared<std::string> text;
  std::string error;  // for the user, with what to do; empty: `text` is it
};

/// Reads a PNG or JPEG file of at most 64 million pixels. The code that does so is loaded when
/// first needed.
QrImage readQrImage(const std::string& path);

}  // namespace talvane
