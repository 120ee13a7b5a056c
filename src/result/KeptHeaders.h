// Cache of the last few headers that a result has parsed, with the tables made of them. The same bytes give
// the same properties and columns, so a repeated query costs only its records.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "result/ResultBody.h"

namespace VekApi {

// Content of `lines`: a header and the fields line after it, with their line ends.
struct TKeptHeader {
  std::string lines;
  std::size_t nameBytes = 0;
  std::size_t fieldsAt = 0;  // start of the fields text in `lines`
  std::uint32_t columns = 0;
  std::uint32_t tableIndex = kNone;  // index of the table with this header in the result
  std::uint64_t lastUse = 0;
  std::unique_ptr<TMadeTable> table;  // null: not requested yet, or owned by the result
};

class TKeptHeaders {
 public:
  static constexpr std::size_t kCount = 4;

  // The cached header that `text` begins with; null if there is none.
  TKeptHeader* Find(std::string_view text);

  // The result's table `tableIndex`, one of the first kCount, has this header.
  void Use(TKeptHeader& header, std::uint32_t tableIndex);

  // True if a header is small enough to be cached.
  static bool Takes(std::string_view lines) { return lines.size() <= kMostBytes; }

  // Caches a new header and its table, replacing the least recently used one. Returns the number of its
  // columns.
  std::uint32_t Keep(std::string_view lines, std::unique_ptr<TMadeTable> table);

  // Hands the cached tables to the result just parsed, unless its records are in many runs.
  void Give(TResultBody& body);

  // Takes the tables back from a result about to be cleared.
  void TakeBack(TResultBody& body);

  // Forgets the tables handed out; the result keeps them.
  void Forget();

 private:
  static constexpr std::size_t kMostBytes = 2048;

  std::array<TKeptHeader, kCount> headers_;
  std::uint64_t uses_ = 0;
};

}  // namespace VekApi
