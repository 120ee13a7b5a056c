// Prepares packets that contain passwords for display or storage.
#pragma once

#include <string>
#include <string_view>

namespace VekApi {

// Whether a descrambled packet to the server is of the kind that contains passwords: code 2.
bool MayHoldPassword(std::string_view packet);

// Returns the packet with each password replaced by eight stars, whatever its length; length fields are
// adjusted. The whole body is replaced if its contents cannot be determined: if it has none of our forms, or,
// whatever its code, if its scrambling is unknown (`known` is false).
std::string MaskPasswords(std::string_view packet, bool known);

}  // namespace VekApi
