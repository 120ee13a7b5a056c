// Recognises streams that no server of this protocol sends, by their first bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace VekApi {

enum class ELooks {
  Ours,  // is, or may be, a stream of packets
  Open,  // needs more bytes
  Http,
  Tls,
  Ssh,
  Mail,  // also FTP: a greeting that starts with a number
  Json,
  Text,
  Zeroes,
};

// Further bytes would not change the result.
inline constexpr std::size_t kLooksBytes = 16;

// Judges the first bytes of a server's stream, up to kLooksBytes. Any result but Ours and Open is certain
// enough to end the link: packets that start like this would have an unknown code, or match another
// protocol's first message exactly.
ELooks LooksLike(std::string_view start);

// Name for people, such as "an HTTP answer". Empty for Ours and Open.
const char* NameOf(ELooks looks);

// Text for the end of the link; it contains the name.
std::string NotOursText(ELooks looks);

}  // namespace VekApi
