#pragma once

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "tests/support/end_child.h"

namespace talvane::test {

/// From now on these system calls of the process fail with `error`. False: not allowed here.
inline bool letCallsFail(std::initializer_list<long> calls, int error) {
  std::vector<sock_filter> program;
  const auto add = [&](int code, std::uint32_t value, std::uint8_t if_true, std::uint8_t if_false) {
    program.push_back({static_cast<std::uint16_t>(code), if_true, if_false, value});
  };
  const auto fail = [&] {
    add(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error), 0, 0);
  };
  add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr), 0, 0);
  for (const long call : calls) {
#ifdef MEASURES_COVERAGE
    // Not for the files of counts: they would be written as if there were no earlier ones.
    struct Exception {
      long call;
      std::size_t argument;
      int comparison;
      int value;
    };
    constexpr int count_file_flags = O_RDWR | O_CREAT;
    const Exception exceptions[] = {{SYS_read, 0, BPF_JGE, first_count_file},
                                    {SYS_write, 0, BPF_JGE, first_count_file},
                                    {SYS_pread64, 0, BPF_JGE, first_count_file},
                                    {SYS_openat, 2, BPF_JEQ, count_file_flags},
#ifdef SYS_open
                                    {SYS_open, 1, BPF_JEQ, count_file_flags}
#endif
    };
    for (const Exception& exception : exceptions) {
      if (exception.call != call) continue;
      add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 4);
      add(BPF_LD | BPF_W | BPF_ABS,
          static_cast<std::uint32_t>(offsetof(seccomp_data, args) +
                                     exception.argument * sizeof(std::uint64_t)),
          0, 0);
      add(BPF_JMP | exception.comparison | BPF_K, static_cast<std::uint32_t>(exception.value), 0,
          1);
      add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW, 0, 0);
      fail();
    }
#endif
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1);
    fail();
  }
  add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW, 0, 0);
  const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

}  // namespace talvane::test
