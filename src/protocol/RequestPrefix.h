// What stands in front of a request's text, and of the texts of codes 128 to 131: the packet's header and the
// text's length, two bytes in the server's byte order. A text of more than kMaxPiece bytes goes in pieces,
// each a packet of its own with a prefix; all but the last have code 3.
#pragma once

#include <cstddef>
#include <string>

#include "protocol/Cipher.h"

namespace VekApi {

inline constexpr int kPrefixBytes = kHeadBytes + 2;
inline constexpr int kMaxPiece = 4090;

// Makes a packet of a piece of `textLength` bytes that stands behind five free bytes: header, length,
// scrambled as far as the session asks for it. The packet's length.
int FramePiece(const TCipher& cipher, char* at, int msgCode, std::size_t textLength);

// Makes the packets of a longer text, which are to be sent together: `wire` gets them all. The buffer, five
// free bytes and the text, is consumed. False, with the buffer untouched, when there is no memory.
bool FrameInPieces(const TCipher& cipher, int msgCode, char* buffer, std::size_t textLength,
                   std::string& wire);

}  // namespace VekApi
