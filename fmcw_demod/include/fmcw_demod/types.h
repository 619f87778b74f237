#pragma once

#include <complex>
#include <cstdint>
#include <span>
#include <utility>

namespace orn::fmcw_demod_lib {

/// One complex baseband sample: I (real) and Q (imaginary) [V].
using sample_t = std::complex<float>;

/// Sample interval (first, last), both inclusive.
using interval_t = std::pair<std::uint64_t, std::uint64_t>;

/// Non-owning view of contiguous elements, passed by value; built from (T* first, std::size_t
/// count). What it points to must outlive it.
template <class T>
using ArrayView = std::span<T>;

}  // namespace orn::fmcw_demod_lib
