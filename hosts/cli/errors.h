#pragma once

#include "common/errors.h"

namespace fmcw_cli {

using input_error = orn::fmcw_host::input_error_t;
using run_error = orn::fmcw_host::run_error_t;

}  // namespace fmcw_cli
