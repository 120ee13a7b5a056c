// Explains in plain words why a session does not come up or has ended, and the remedy.
#pragma once

#include <cstdint>
#include <string>

namespace VekTerm {

// The cause of a reason (vsr_...) and its remedy; empty if there is nothing to add to the reason.
std::string Advice(std::int32_t reason);

}  // namespace VekTerm
