#include "Log.h"

namespace ymdshow {

ymlib::CLogCategory* const g_logCategory = ymlib::CLoger::GetLoger()->GetCategory("YMDShow");

} // namespace ymdshow
