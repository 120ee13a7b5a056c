#include "protocol/RequestPrefix.h"

#include <algorithm>
#include <new>

namespace VekApi {

int FramePiece(const TCipher& cipher, char* at, int msgCode, std::size_t textLength) {
  const int length = static_cast<int>(textLength) + kPrefixBytes;
  PutHead(at, msgCode, length);
  PutU16(at + kHeadBytes, textLength, cipher.Endian());
  cipher.EncPacket(at, length);
  return length;
}

// The prefix of each piece overwrites the end of the previous one, which has already been copied.
bool FrameInPieces(const TCipher& cipher, int msgCode, char* buffer, std::size_t textLength,
                   std::string& wire) {
  try {
    wire.reserve(FramedBytes(textLength));
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (std::size_t left = textLength; left != 0;) {
    const std::size_t piece = std::min<std::size_t>(left, kMaxPiece);
    left -= piece;
    const int packetLength = FramePiece(cipher, buffer, left != 0 ? PkBigPart : msgCode, piece);
    wire.append(buffer, static_cast<std::size_t>(packetLength));
    buffer += piece;
  }
  return true;
}

}  // namespace VekApi
