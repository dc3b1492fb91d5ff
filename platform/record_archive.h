#pragma once

// A record as the platform's keyed archive: a binary property list (CFBinaryPList.c's format) whose
// top level holds $archiver "NSKeyedArchiver", $version 100000, $objects, and $top with the one key
// "dict". Dictionaries are NS.keys and NS.objects with a $class; text, data and numbers are in
// $objects as they are. The reader also accepts text and data wrapped as NS.string and NS.data.

#include <optional>

#include "engine/gateway.h"
#include "platform/keychain_service.h"

namespace talvane {

/// The archive of the record. Empty if it cannot be archived: a text is not UTF-8 or has a NUL, or
/// the archive would be larger than 1 MiB or have thousands of values.
SecretBytes archiveRecord(const Record& record);

/// The record in the archive; nullopt unless it is a well-formed archive of one dictionary of
/// texts, data and whole numbers, with each key once, of at most 1 MiB. Safe for hostile input:
/// bounded time and memory.
std::optional<Record> unarchiveRecord(const Bytes& archive);

}  // namespace talvane
