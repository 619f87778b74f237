#include "basefunc/convolution.h"
#include "basefunc/kernels.h"
#include "basefunc/line.h"
#include "basefunc/trapezoid.h"

#include <float_environment/default_environment.h>
#include <fmcw_demod/basefunc.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <new>
#include <numeric>

namespace orn::fmcw_demod_lib::basefunc {
namespace {

using float_environment::in_default_environment;

/// Odd is the precision of odd-length values; even-length values are single precision throughout.
template <class Odd>
std::vector<Odd> triang_window(int length) {
  if (length < 0) {
    throw std::bad_alloc();
  }
  const auto n = static_cast<std::size_t>(length);
  std::vector<Odd> window(n);
  if (n == 1) {
    window[0] = 1;
    return window;
  }
  for (std::size_t i = 0; i < (n + 1) / 2; ++i) {
    if (n % 2 != 0) {
      const auto k = static_cast<Odd>(i + 1);
      window[i] = (k + k) / static_cast<Odd>(n + 1);
    } else {
      const auto k = static_cast<float>(i);
      window[i] = (2.0F * k + 1.0F) / static_cast<float>(n);
    }
    window[n - 1 - i] = window[i];
  }
  float sum = 0.0F;
  for (const Odd value : window) {
    sum = static_cast<float>(sum + value);
  }
  for (Odd& value : window) {
    value /= sum;
  }
  return window;
}

template <class T>
std::vector<T> same_convolution(const std::vector<T>& signal, const std::vector<T>& kernel) {
  if (signal.empty() || kernel.empty()) {
    return signal;
  }
  std::vector<T> result(signal.size());
  convolve_same<T, T>(signal, kernel, result);
  return result;
}

/// Running sum of term(k), k = 1 ... count - 1, from 0; `length` elements, the last sum repeated.
template <class T, class Term>
std::vector<T> running_sum(std::size_t length, std::size_t count, Term term) {
  std::vector<T> sums(length);
  for (std::size_t k = 1; k < length; ++k) {
    sums[k] = k < count ? sums[k - 1] + term(k) : sums[k - 1];
  }
  return sums;
}

std::vector<float> fitted_line(const std::vector<float>& abscissa,
                               const std::vector<float>& ordinate) {
  if (abscissa.size() != ordinate.size() || abscissa.empty()) {
    return {};
  }
  const auto line = line_through(kernels::line_sums(abscissa, ordinate), abscissa.size());
  return line ? std::vector<float>{line->slope, line->intercept} : std::vector<float>{};
}

template <class T>
void unwrap_into(const std::vector<T>& input, std::vector<T>& output) {
  if (&input != &output) {
    output = input;
  }
  kernels::unwrap<T>(output);
}

}  // namespace

bool has_nan(const std::vector<float>& values) {
  return in_default_environment([&] {
    return std::any_of(values.begin(), values.end(), [](float value) { return std::isnan(value); });
  });
}

std::vector<float> generate_triang_window(int length) {
  return in_default_environment([&] { return triang_window<float>(length); });
}

std::vector<double> generate_triang_window_double(int length) {
  return in_default_environment([&] { return triang_window<double>(length); });
}

std::vector<float> conv_same(const std::vector<float>& signal, const std::vector<float>& kernel) {
  return in_default_environment([&] { return same_convolution(signal, kernel); });
}

std::vector<float> conv_float(const std::vector<float>& signal, const std::vector<float>& kernel) {
  return in_default_environment([&] { return same_convolution(signal, kernel); });
}

std::vector<double> conv_same_double(const std::vector<double>& signal,
                                     const std::vector<double>& kernel) {
  return in_default_environment([&] { return same_convolution(signal, kernel); });
}

std::vector<double> cumtrapz_phase(const std::vector<float>& time,
                                   const std::vector<float>& frequency) {
  return in_default_environment([&] {
    return running_sum<double>(time.size(), frequency.size(), [&](std::size_t k) {
      return kernels::mean_angular_rate(frequency[k - 1], frequency[k]) *
             static_cast<double>(time[k] - time[k - 1]);
    });
  });
}

std::vector<float> cumtrapz_phase(double sample_interval, const std::vector<float>& frequency) {
  return in_default_environment([&] {
    return running_sum<float>(frequency.size(), frequency.size(), [&](std::size_t k) {
      return static_cast<float>(kernels::mean_angular_rate(frequency[k - 1], frequency[k]) *
                                sample_interval);
    });
  });
}

std::vector<double> cumtrapz(const std::vector<float>& abscissa,
                             const std::vector<float>& ordinate) {
  return in_default_environment([&] {
    return running_sum<double>(abscissa.size(), ordinate.size(), [&](std::size_t k) {
      const double mean =
          (static_cast<double>(ordinate[k]) + static_cast<double>(ordinate[k - 1])) * 0.5;
      return mean * static_cast<double>(abscissa[k] - abscissa[k - 1]);
    });
  });
}

std::vector<float> polyfit_1(const std::vector<float>& abscissa,
                             const std::vector<float>& ordinate) {
  return in_default_environment([&] { return fitted_line(abscissa, ordinate); });
}

void mm_unwrap(std::vector<float>& input, std::vector<float>& output) {
  in_default_environment([&] { unwrap_into(input, output); });
}

void mm_unwrap(std::vector<double>& input, std::vector<double>& output) {
  in_default_environment([&] { unwrap_into(input, output); });
}

}  // namespace orn::fmcw_demod_lib::basefunc
