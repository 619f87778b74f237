#pragma once

#include <fmcw_demod/config_record.h>
#include <fmcw_demod/engine.h>
#include <fmcw_demod/export.h>
#include <fmcw_demod/parameters.h>
#include <fmcw_demod/result_record.h>

#include <complex>
#include <memory>
#include <vector>

namespace orn::fmcw_demod_lib {

/// What stands behind an analyzer handle. Hosts call the two guarded operations; they check the
/// arguments, let no exception out and report through a code (0 or negative) and an ErrorMsg.
///
///     code   message                                  when
///     -100   "Configuration pointer is null"          config is null
///     -101   "Invalid input signal stream"            the signal has no samples
///     -102   "Result pointer is null"                 result is null
///     -1     "Exception in config: " + what()         configuring threw a standard exception
///     -2     "Unknown exception in config"            configuring threw something else
///     -3     "Exception in work_analyze: " + what()   analysing threw a standard exception
///     -4     "Unknown exception in work_analyze"      analysing threw something else
///     r      "Configuration failed"                   config() returned r, not 0
///     r      "Analysis failed"                        work_analyze() returned r, not 0
///
/// A message for which there is no memory is left empty; its code still stands.
class FMCW_DEMOD_EXPORT I_Analyzer {
 public:
  I_Analyzer() = default;
  I_Analyzer(const I_Analyzer&) = delete;
  I_Analyzer& operator=(const I_Analyzer&) = delete;
  virtual ~I_Analyzer();

  /// Takes over settings. `config` points to a fmcw_demod_config_t, `samples` to the capture or is
  /// null, `fs` is the capture's sample rate [Hz]. Returns 0 or a code; may throw.
  virtual int config(const void* config, std::vector<std::complex<float>>* samples, float fs) = 0;

  /// Analyses one capture into the fmcw_measure_result_t at `result`. Returns 0 or a code; may
  /// throw.
  virtual int work_analyze(const SignalStream& signal, void* result) = 0;

  /// Guarded config(). `error` may be null; it is reset first and filled on failure.
  int config_with_error_process(SignalStream& signal, const void* config, ErrorMsg* error);

  /// Guarded work_analyze(). Copying the signal into the argument may throw std::bad_alloc in the
  /// caller; nothing else leaves this call.
  int work_analyze_with_error_process(SignalStream signal, void* result, ErrorMsg* error);
};

/// The analyzer behind create_fmcw_analyzer: keeps the settings last accepted and the parameters
/// and engine built from them.
class FMCW_DEMOD_EXPORT FMCWAnalyzer : public I_Analyzer {
 public:
  /// Not configured; its record is the default one with `chirp_set` 1.
  FMCWAnalyzer();
  ~FMCWAnalyzer() override;

  /// Builds new parameters and a new engine, unless there is an engine and the record equals the
  /// stored one (then nothing changes, whatever samples and fs are). Returns 0, or -1 for a null
  /// record. When building throws, parameters and engine stay as they were but the record is stored
  /// already: configuring again with an equal record then returns 0 and goes on with the old engine,
  /// so configure with another record in between, or create a new analyzer.
  int config(const void* config, std::vector<std::complex<float>>* samples, float fs) override;

  /// Returns 0; -1 when not configured, -2 for a null result, -3 when the analysis threw a standard
  /// exception. Other exceptions leave.
  int work_analyze(const SignalStream& signal, void* result) override;

 private:
  std::unique_ptr<fmcw_demod_config_t> record_;
  std::unique_ptr<FMCWConfig> parameters_;
  std::unique_ptr<FMCWAnalyze> engine_;  ///< refers into parameters_, so it goes first
};

/// Creates an analyzer in the handle variable. Returns 0, or -1 and changes nothing when the
/// variable is not null. `error` is not used. Throws std::bad_alloc.
FMCW_DEMOD_EXPORT int create_fmcw_analyzer(void** handle, ErrorMsg* error);

/// I_Analyzer::config_with_error_process of a live handle.
FMCW_DEMOD_EXPORT int config_fmcw_analyzer(void* handle, SignalStream& signal,
                                           const fmcw_demod_config_t* config, ErrorMsg* error);

/// I_Analyzer::work_analyze_with_error_process of a live handle on a private copy of the signal.
/// Throws std::bad_alloc when there is no memory for the copy.
FMCW_DEMOD_EXPORT int work_fmcw_analyzer(void* handle, const SignalStream& signal,
                                         fmcw_measure_result_t* result, ErrorMsg* error);

/// Destroys the analyzer and nulls the handle variable. Returns 0, or -1 when it is null already.
FMCW_DEMOD_EXPORT int destroy_fmcw_analyzer(void** handle);

/// Creates, configures, runs and destroys an analyzer, and logs start and finish with a run ID that
/// counts up through the process from 1. Returns the first code that is not 0, copied with its
/// message into `error` (which may be null and is not touched on success). Calls from several
/// threads are independent. Throws std::bad_alloc when there is no memory for the analyzer or the
/// signal.
FMCW_DEMOD_EXPORT int DLL_fmcw_analysis(const fmcw_demod_config_t* config, SignalStream signal,
                                        fmcw_measure_result_t* result, ErrorMsg* error);

}  // namespace orn::fmcw_demod_lib
