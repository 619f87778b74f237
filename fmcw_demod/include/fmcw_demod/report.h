#pragma once

#include <fmcw_demod/export.h>
#include <fmcw_demod/result_record.h>

#include <ostream>
#include <string>
#include <vector>

namespace orn::fmcw_demod_lib {

// Text for logs and diagnostics. Numbers come out with the formatting state the stream has; none of
// these functions changes it. Texts are UTF-8.

/// The figures of one chirp, twelve lines.
FMCW_DEMOD_EXPORT std::ostream& operator<<(std::ostream& os, const fmcw_chirp_result_t& c);

/// A whole result: the first five chirps, then a line for each trace and spectrogram.
FMCW_DEMOD_EXPORT std::ostream& operator<<(std::ostream& os, const fmcw_measure_result_t& r);

/// One line: name, size and the first `count` elements. Instantiated for float.
template <class T>
void print_vector_summary(std::ostream& os, const std::vector<T>& v, const std::string& name,
                          unsigned long long count);
extern template FMCW_DEMOD_EXPORT void print_vector_summary<float>(std::ostream&,
                                                                   const std::vector<float>&,
                                                                   const std::string&,
                                                                   unsigned long long);

/// One line: name, rows, length of the first row, and the range of all levels [dB] unless the first
/// row is empty.
FMCW_DEMOD_EXPORT void print_spectrogram_summary(std::ostream& os,
                                                 const std::vector<std::vector<float>>& s,
                                                 const std::string& name);

}  // namespace orn::fmcw_demod_lib
