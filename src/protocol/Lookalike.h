// What the start of a stream looks like that no server of this protocol sends.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace VekApi {

enum class ELooks {
  Ours,  // it may be a stream of packets, or it is
  Open,  // more bytes will tell
  Http,
  Tls,
  Ssh,
  Mail,  // and FTP: a greeting with a number
  Json,
  Text,
  Zeroes,
};

// More bytes change nothing.
inline constexpr std::size_t kLooksBytes = 16;

// Judges the first bytes of a server's stream, up to kLooksBytes. Anything but Ours and Open is certain
// enough to end the link: packets that begin so would have an unknown code, or have exactly the form of
// another protocol's first message.
ELooks LooksLike(std::string_view start);

// For people: "an HTTP answer". Empty for Ours and Open.
const char* NameOf(ELooks looks);

// The reason of a link's end, which names it.
std::string NotOursText(ELooks looks);

}  // namespace VekApi
