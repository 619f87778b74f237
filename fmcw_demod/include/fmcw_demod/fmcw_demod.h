#pragma once

#include <fmcw_demod/analyzer.h>
#include <fmcw_demod/basefunc.h>
#include <fmcw_demod/config_record.h>
#include <fmcw_demod/configure_manager.h>
#include <fmcw_demod/engine.h>
#include <fmcw_demod/export.h>
#include <fmcw_demod/parameters.h>
#include <fmcw_demod/report.h>
#include <fmcw_demod/result_record.h>
#include <fmcw_demod/types.h>
