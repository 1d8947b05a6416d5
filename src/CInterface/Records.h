#pragma once

#include <vector>

#include <ymdshow/GraphDescription.h>
#include <ymdshow/LoadReport.h>
#include <ymdshow/SchemeReport.h>

#include "CInterface/Call.h"

// Values of the library as records of a block.
namespace ymdshow::c {

void Convert(Block& block, ymd_filter& record, const FilterDescription& filter);
ymd_load_report* Convert(Block& block, const LoadReport& report);
ymd_scheme_report* Convert(Block& block, const SchemeLoadReport& report);

} // namespace ymdshow::c
