#pragma once

// A core dump holds the seeds of all tokens. Main thread only.

namespace talvane {

/// From now on a crash of this program, or of one that it starts, leaves no core dump
/// (RLIMIT_CORE).
void forbidCoreDumps();

/// Restores what was allowed before `forbidCoreDumps`; does nothing without it.
void allowCoreDumps();

}  // namespace talvane
