#pragma once

#include <string>

#include "engine/cleared.h"

namespace talvane {

/// The text of the one QR code in an image.
struct QrImage {
  Cleared<std::string> text;
  std::string error;  // for the user, with what to do; empty on success
};

/// Reads a PNG or JPEG file of at most 64 million pixels. Loads the code for it on first use.
QrImage readQrImage(const std::string& path);

}  // namespace talvane
