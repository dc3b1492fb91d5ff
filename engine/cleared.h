#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <type_traits>
#include <utility>

namespace talvane {

/// Overwrites `size` bytes at `data` with zeros; the compiler does not remove the write.
inline void clearMemory(void* data, std::size_t size) {
  if (size == 0) return;
  std::memset(data, 0, size);
  // The barrier makes the memory observable, so that the write cannot be dropped as dead.
  asm volatile("" : : "r"(data) : "memory");
}

/// Owns a string or vector that holds a secret and clears its memory when it is destroyed,
/// assigned to or moved from. Copies clear themselves. Reads like a `const T`.
template <class T>
class Cleared {
 public:
  Cleared() = default;
  template <class U>
  requires(!std::is_same_v<std::remove_cvref_t<U>, Cleared> && std::is_constructible_v<T, U&&>)
      Cleared(U&& value)
      : value_(std::forward<U>(value)) {}  // NOLINT(google-explicit-constructor)
  Cleared(const Cleared&) = default;
  Cleared(Cleared&& other) noexcept {
    value_.swap(other.value_);
    other.clear();
  }
  Cleared& operator=(const Cleared& other) {
    if (this != &other) {
      clear();
      value_ = other.value_;
    }
    return *this;
  }
  Cleared& operator=(Cleared&& other) noexcept {
    if (this != &other) {
      clear();
      value_.swap(other.value_);
      other.clear();
    }
    return *this;
  }
  ~Cleared() { clear(); }

  [[nodiscard]] const T& get() const { return value_; }
  operator const T&() const { return value_; }  // NOLINT(google-explicit-constructor)
  const T* operator->() const { return &value_; }

  /// For filling in place. Set the size first: a container that grows does not clear the memory it
  /// frees.
  [[nodiscard]] T& mutableValue() { return value_; }

  /// Adds the characters or bytes of `piece` to the end. Memory that the value outgrows is cleared.
  template <class Piece>
  void append(const Piece& piece) {
    const std::size_t size = value_.size() + std::size(piece);
    if (size > value_.capacity()) {
      Cleared larger;
      larger.value_.reserve(std::max(size, 2 * value_.capacity()));
      larger.value_.insert(larger.value_.end(), value_.begin(), value_.end());
      value_.swap(larger.value_);
    }
    value_.insert(value_.end(), std::begin(piece), std::end(piece));
  }

  friend bool operator==(const Cleared& a, const Cleared& b) { return a.value_ == b.value_; }
  template <class U>
  requires(!std::is_same_v<U, Cleared>) friend bool operator==(const Cleared& a, const U& b) {
    return a.value_ == b;
  }

  /// Clears all of the memory, including the remains of an earlier, longer value.
  void clear() noexcept {
    value_.resize(value_.capacity());
    clearMemory(value_.data(), value_.size() * sizeof(typename T::value_type));
    value_.clear();
  }

 private:
  T value_;
};

}  // namespace talvane
