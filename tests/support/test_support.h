// Shared helpers for the pxkit tests.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "common/memory.h"
#include "simd/dispatch.h"
#include "threadpool/thread_pool.h"

namespace pxtest {

// Runs `body` and returns what it printed on standard output.
std::string capture_stdout(const std::function<void()>& body);

// Owner of a library object that releases it with `Destroy`.
template <auto Destroy>
struct DestroyWith {
  template <class T>
  void operator()(T* object) const { Destroy(object); }
};
template <class T, auto Destroy>
using Owned = std::unique_ptr<T, DestroyWith<Destroy>>;

// Setup(&option) with its report kept out of the test log; what it made (or
// null) is destroyed with the holder.
template <auto Setup, auto Destroy, class Option>
auto quiet_setup(const Option& option) {
  using T = std::remove_pointer_t<decltype(Setup(&option))>;
  T* made = nullptr;
  capture_stdout([&] { made = Setup(&option); });
  return Owned<T, Destroy>(made);
}

// Heap allocations the library has made, and non-null pointers it has
// released, so far (see common/memory.h).
inline std::uint64_t library_allocations() { return pxkit::mem::allocation_count(); }
inline std::uint64_t library_releases() { return pxkit::mem::release_count(); }

// While alive, every pool the library creates fails to start worker
// `worker_index`; 0 sends pooled operations down their single-threaded path.
class ScopedThreadStartFailure {
 public:
  explicit ScopedThreadStartFailure(int worker_index = 0) { pxkit::fail_thread_start_at(worker_index); }
  ~ScopedThreadStartFailure() { pxkit::fail_thread_start_at(-1); }
  ScopedThreadStartFailure(const ScopedThreadStartFailure&) = delete;
  ScopedThreadStartFailure& operator=(const ScopedThreadStartFailure&) = delete;
};

// While alive, setups may only choose `target` (0 = scalar reference, else a
// Highway target bit). Restores the default on destruction.
class ScopedTarget {
 public:
  explicit ScopedTarget(std::int64_t target) { pxkit::simd::set_allowed_targets(target); }
  ~ScopedTarget() { pxkit::simd::set_allowed_targets(pxkit::simd::kAllTargets); }
  ScopedTarget(const ScopedTarget&) = delete;
  ScopedTarget& operator=(const ScopedTarget&) = delete;
};

// Vector targets to compare against the scalar reference on this machine.
inline std::vector<std::int64_t> vector_targets() { return pxkit::simd::available_vector_targets(); }
inline std::string target_label(std::int64_t target) { return pxkit::simd::target_name(target); }

// `count` elements placed so that the last one ends exactly at an inaccessible
// page: reading or writing past the end faults. The bytes before the data are
// ordinary memory. Contents start filled with `fill_byte`.
class PageEndBuffer {
 public:
  PageEndBuffer(std::size_t bytes, unsigned char fill_byte = 0xA5);
  ~PageEndBuffer();
  PageEndBuffer(const PageEndBuffer&) = delete;
  PageEndBuffer& operator=(const PageEndBuffer&) = delete;
  void* data() const { return data_; }
  std::size_t size() const { return bytes_; }
  template <class T>
  T* as() const { return static_cast<T*>(data_); }

 private:
  void* mapping_ = nullptr;
  std::size_t mapping_bytes_ = 0;
  void* data_ = nullptr;
  std::size_t bytes_ = 0;
};

// Deterministic random values for reproducible failures.
inline std::mt19937& rng() {
  static std::mt19937 engine(20210918u);
  return engine;
}

template <class T>
std::vector<T> random_ints(std::size_t n, long lo, long hi) {
  std::uniform_int_distribution<long> dist(lo, hi);
  std::vector<T> v(n);
  for (auto& x : v) x = static_cast<T>(dist(rng()));
  return v;
}

// Bitwise float equality (distinguishes -0.0 from +0.0 and compares NaN payloads).
inline bool same_bits(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace pxtest
