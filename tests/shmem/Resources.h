#pragma once

#include "support/Held.h"

namespace vektest {

using TestSupport::Held;
using TestSupport::SettlesTo;

}  // namespace vektest
