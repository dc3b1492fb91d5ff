#pragma once

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstddef>
#include <initializer_list>
#include <vector>

namespace talvane::test {

/// From now on these system calls of the process fail with `error`. False: not allowed here.
inline bool letCallsFail(std::initializer_list<long> calls, int error) {
  std::vector<sock_filter> program;
  const auto add = [&](int code, std::uint32_t value, std::uint8_t if_true, std::uint8_t if_false) {
    program.push_back({static_cast<std::uint16_t>(code), if_true, if_false, value});
  };
  add(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr), 0, 0);
  for (const long call : calls) {
    add(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call), 0, 1);
    add(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error), 0, 0);
  }
  add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW, 0, 0);
  const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

}  // namespace talvane::test
