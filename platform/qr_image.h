#pragma once

#include <string>

#include "engine/cleared.h"

namespace talvane {

/// The text of the one QR code in an image.
struct QrImage {
  Cleared<std::string> text;
  std::string error;  // for the user, with what to do; empty on success
};

/// Reads a PNG or JPEG file, unless it is so large or so made that reading it could take over a
/// second or 64 MB (platform/qr/image_cost.h). Any thread. Loads the code for it on first use.
QrImage readQrImage(const std::string& path);

}  // namespace talvane
