#include "common/fit/cubic_fit.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orn::fmcw_host {
namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t fewest = 8;
constexpr std::size_t terms = 4;
using matrix_t = std::array<std::array<double, terms>, terms>;

std::array<double, terms> legendre(double x) {
  return {1.0, x, 0.5 * (3.0 * x * x - 1.0), 0.5 * x * (5.0 * x * x - 3.0)};
}

/// Lower triangle l with l l' = m.
matrix_t cholesky(const matrix_t& m) {
  matrix_t l{};
  for (std::size_t i = 0; i < terms; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      double sum = m[i][j];
      for (std::size_t k = 0; k < j; ++k) {
        sum -= l[i][k] * l[j][k];
      }
      l[i][j] = i == j ? std::sqrt(sum) : sum / l[j][j];
    }
  }
  return l;
}

/// Inverse of a lower triangle.
matrix_t inverse(const matrix_t& l) {
  matrix_t r{};
  for (std::size_t j = 0; j < terms; ++j) {
    r[j][j] = 1.0 / l[j][j];
    for (std::size_t i = j + 1; i < terms; ++i) {
      double sum = 0.0;
      for (std::size_t k = j; k < i; ++k) {
        sum -= l[i][k] * r[k][j];
      }
      r[i][j] = sum / l[i][i];
    }
  }
  return r;
}

/// Middle of the distances that are kept.
double median_of(std::span<const double> distances, std::span<const std::uint8_t> kept,
                 std::vector<double>& scratch) {
  scratch.clear();
  for (std::size_t i = 0; i < distances.size(); ++i) {
    if (kept[i] != 0) {
      scratch.push_back(distances[i]);
    }
  }
  const auto middle = scratch.begin() + static_cast<std::ptrdiff_t>(scratch.size() / 2);
  std::nth_element(scratch.begin(), middle, scratch.end());
  return *middle;
}

}  // namespace

double cubic_fit_t::quadratic_at(double x) const {
  const auto p = legendre(x);
  return quadratic[0] * p[0] + quadratic[1] * p[1] + quadratic[2] * p[2];
}

double cubic_fit_t::cubic_at(double x) const {
  const auto p = legendre(x);
  return all[0] * p[0] + all[1] * p[1] + all[2] * p[2] + all[3] * p[3];
}

cubic_fit_t fit_cubic(std::span<const double> values, std::span<const std::uint8_t> kept) {
  matrix_t products{};
  std::array<double, terms> moments{};
  cubic_fit_t fit;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (kept[i] == 0) {
      continue;
    }
    const auto p = legendre(place_of(i, values.size()));
    for (std::size_t r = 0; r < terms; ++r) {
      for (std::size_t c = 0; c <= r; ++c) {
        products[r][c] += p[r] * p[c];
      }
      moments[r] += p[r] * values[i];
    }
    ++fit.count;
  }
  if (fit.count < fewest) {
    fit.quadratic.fill(unknown);
    fit.covariance.fill({unknown, unknown, unknown});
    fit.all.fill(unknown);
    fit.cubic = fit.cubic_variance = unknown;
    return fit;
  }
  // With r = l^-1, rows of r are polynomials orthonormal over the kept places, of rising degree, and
  // w the values' parts along them: the first three make the quadratic, the fourth adds the cubic.
  const matrix_t r = inverse(cholesky(products));
  std::array<double, terms> w{};
  for (std::size_t i = 0; i < terms; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      w[i] += r[i][j] * moments[j];
    }
  }
  for (std::size_t j = 0; j < terms; ++j) {
    for (std::size_t i = j; i < terms; ++i) {
      fit.all[j] += r[i][j] * w[i];
    }
  }
  for (std::size_t a = 0; a < 3; ++a) {
    fit.quadratic[a] = fit.all[a] - r[3][a] * w[3];
    for (std::size_t b = 0; b < 3; ++b) {
      for (std::size_t i = std::max(a, b); i < 3; ++i) {
        fit.covariance[a][b] += r[i][a] * r[i][b];
      }
    }
  }
  fit.cubic = fit.all[3];
  fit.cubic_variance = r[3][3] * r[3][3];
  return fit;
}

cubic_fit_t fit_robustly(std::span<const double> values, std::vector<std::uint8_t>& kept,
                         double least) {
  constexpr double deviations = 5.0;
  constexpr double deviation_of_median = 1.482602218505602;  // of a normal distribution
  constexpr int most_rounds = 3;
  const std::vector<std::uint8_t> there = kept;
  std::vector<double> distances(values.size());
  std::vector<double> scratch;
  cubic_fit_t fit = fit_cubic(values, kept);
  for (int round = 0; round < most_rounds && fit.count >= fewest; ++round) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      distances[i] = std::abs(values[i] - fit.cubic_at(place_of(i, values.size())));
    }
    const double median = median_of(distances, kept, scratch);
    const double limit = std::max(deviations * deviation_of_median * median, least);
    bool changes = false;
    for (std::size_t i = 0; i < values.size(); ++i) {
      const auto keep = static_cast<std::uint8_t>(there[i] != 0 && distances[i] <= limit ? 1 : 0);
      changes = changes || keep != kept[i];
      kept[i] = keep;
    }
    if (!changes) {
      break;
    }
    fit = fit_cubic(values, kept);
  }
  return fit;
}

}  // namespace orn::fmcw_host
