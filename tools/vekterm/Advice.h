// What is wrong when a session does not come up or ends, and what to do, in plain words.
#pragma once

#include <cstdint>
#include <string>

namespace VekTerm {

// What a reason (vsr_...) comes from, and the remedy; empty when there is nothing to say beyond the reason
// itself.
std::string Advice(std::int32_t reason);

}  // namespace VekTerm
