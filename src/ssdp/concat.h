#pragma once

#include "vexbase/vex_text.h"

namespace ssdp {

using vexbase::Append;
using vexbase::Concat;

} // namespace ssdp
