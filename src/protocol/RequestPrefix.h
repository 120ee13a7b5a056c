// The prefix of a request's text, and of the texts of codes 128 to 131: the packet header and the length of
// the text, two bytes in the server's byte order. A text longer than kMaxPiece bytes is sent in pieces, each
// a packet with its own prefix; all but the last have code 3.
#pragma once

#include <cstddef>
#include <string>

#include "protocol/Cipher.h"

namespace VekApi {

inline constexpr int kPrefixBytes = kHeadBytes + 2;
inline constexpr int kMaxPiece = 4090;

// Bytes on the wire of a text with the prefixes of its pieces.
constexpr std::size_t FramedBytes(std::size_t textLength) {
  return textLength + (textLength + kMaxPiece - 1) / kMaxPiece * kPrefixBytes;
}

// Makes a packet of a piece: five reserved bytes followed by `textLength` bytes of text. Writes header and
// length, and scrambles if the session uses scrambling. Returns the packet's length.
int FramePiece(const TCipher& cipher, char* at, int msgCode, std::size_t textLength);

// Makes the packets of a longer text; `wire` receives all of them, to be sent in one call. `buffer` is five
// reserved bytes and the text, and is modified. Returns false, with the buffer unchanged, if there is no
// memory.
bool FrameInPieces(const TCipher& cipher, int msgCode, char* buffer, std::size_t textLength,
                   std::string& wire);

}  // namespace VekApi
