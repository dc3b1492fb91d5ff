// Any bytes as a record archive. What is read can be archived again and reads the same.

#include <cstdlib>

#include "platform/record_archive.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto record = talvane::unarchiveRecord(talvane::Bytes(data, data + size));
  if (!record) return 0;
  const talvane::SecretBytes archive = talvane::archiveRecord(*record);
  // Values that share an object are apart in our own archive, which may make it too large.
  if (archive->empty() && size < 4096) std::abort();
  if (!archive->empty() && talvane::unarchiveRecord(archive) != record) std::abort();
  return 0;
}
