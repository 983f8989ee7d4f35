#pragma once

#include "vexbase/vex_output.h"

namespace ssdp {

using vexbase::WriteFault;
using vexbase::WriteProgress;

} // namespace ssdp
