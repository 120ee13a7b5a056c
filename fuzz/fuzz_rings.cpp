// One ring in shared memory: both sides and somebody who changes any byte of the mapping in between, in the
// order that the bytes say. While nobody did, what is read is what was written.
#include <cstring>
#include <memory>

#include "fuzz/Input.h"
#include "shmem/TShMemRing.h"

namespace {

using Dova::TShMemRing;
using vekfuzz::Check;
using vekfuzz::Input;

class World {
 public:
  // Memory of exactly the mapping's size: a sanitizer sees every byte beyond it.
  explicit World(std::uint32_t capacity)
      : bytes_(TShMemRing::kHeaderBytes + capacity), memory_(new std::byte[bytes_]) {
    TShMemRing::Format(memory_.get(), bytes_, capacity);
    writer_ = TShMemRing(memory_.get(), capacity);
    reader_ = TShMemRing(memory_.get(), capacity);
  }

  void Step(Input& input) {
    switch (input.Below(8)) {
      case 0:
      case 1:
        return Write(Text(input));
      case 2:
      case 3:
        return Read(Count(input));
      case 4:
        return SetIndex(input);
      case 5:
        return Spoil(Count(input), static_cast<std::byte>(input.Byte()));
      case 6:
        return writer_.WipePassed();
      default:
        return WipeAll();
    }
  }

 private:
  // Small numbers often, large ones sometimes.
  static std::size_t Count(Input& input) {
    const unsigned byte = input.Byte();
    return byte < 200 ? byte : (byte - 200) * 100;
  }
  static std::string Text(Input& input) {
    std::string text(Count(input), 'x');
    for (char& c : text) c = static_cast<char>(++next_ | 1);
    return text;
  }
  std::uint32_t Index(std::size_t at) const {
    std::uint32_t index = 0;
    std::memcpy(&index, memory_.get() + at, sizeof index);
    return index;
  }
  bool Broken() const { return Index(4) >= writer_.Capacity() || Index(8) >= writer_.Capacity(); }

  void Write(const std::string& text) {
    const std::size_t space = writer_.Space();
    const bool broken = Broken();
    const auto count = writer_.Write(text.data(), text.size());
    Check((count == TShMemRing::kBroken) == broken, "an index out of range, and only that, breaks the ring");
    if (broken) return;
    Check(count == static_cast<std::ptrdiff_t>(std::min(space, text.size())), "as much as fits");
    Check(writer_.Space() == space - static_cast<std::size_t>(count), "the space that is left");
    written_.append(text, 0, static_cast<std::size_t>(count));
  }

  void Read(std::size_t size) {
    const std::unique_ptr<char[]> buffer(new char[size]);
    const bool broken = Broken(), news = reader_.HasNews();
    const auto count = reader_.Read(buffer.get(), size);
    Check((count == TShMemRing::kBroken) == broken, "an index out of range, and only that, breaks the ring");
    Check(broken || count <= static_cast<std::ptrdiff_t>(size), "no more than asked for");
    Check(news == (broken || count > 0 || (size == 0 && news)), "news");
    if (spoilt_ || count <= 0) return;
    const auto read = static_cast<std::size_t>(count);
    Check(written_.compare(0, read, buffer.get(), read) == 0, "the bytes that were written");
    written_.erase(0, read);
    large_ = large_ || (read > TShMemRing::kSmallBytes && read_ >= TShMemRing::kFirstBytes);
    read_ += read;
    if (written_.empty() && !large_) CheckWiped();
  }

  void CheckWiped() const {
    for (std::size_t at = TShMemRing::kHeaderBytes; at < bytes_; ++at)
      Check(memory_[at] == std::byte{0}, "what was read is wiped");
  }

  void SetIndex(Input& input) {
    const std::size_t field = input.Below(3) * 4;
    const std::uint32_t choices[] = {
        input.Byte(), writer_.Capacity() - 1, writer_.Capacity(), 0x7FFFFFFF, 0xFFFFFFFF, Index(8), Index(4)};
    const std::uint32_t value = choices[input.Below(7)];
    std::memcpy(memory_.get() + field, &value, sizeof value);
    spoilt_ = true;
  }
  void Spoil(std::size_t at, std::byte value) {
    memory_[at % bytes_] = value;
    spoilt_ = true;
  }
  void WipeAll() {
    writer_.WipeAll();
    if (!spoilt_) Read(written_.size());  // what the reader has yet to read is still there
  }

  inline static unsigned next_ = 0;
  const std::size_t bytes_;
  const std::unique_ptr<std::byte[]> memory_;
  TShMemRing writer_, reader_;
  std::string written_;
  std::size_t read_ = 0;
  bool large_ = false;  // a piece was read that is too large to be a secret
  bool spoilt_ = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  World world(1 + input.Byte() * (input.Byte() % 64 + 1));
  while (!input.Empty()) world.Step(input);
  return 0;
}
