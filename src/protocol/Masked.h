// What may be shown or kept of a packet that holds passwords.
#pragma once

#include <string>
#include <string_view>

namespace VekApi {

// Whether a descrambled packet to the server is of the kind that holds passwords: code 2.
bool MayHoldPassword(std::string_view packet);

// Such a packet with eight stars in place of each password, whatever its length; lengths are put right. Stars
// replace all of the body when what it holds cannot be told: its form is not one of ours, or it is not known
// how it is scrambled, and then its code does not matter.
std::string MaskPasswords(std::string_view packet, bool known);

}  // namespace VekApi
