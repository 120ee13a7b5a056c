// The last few headers that a result has read, with the tables made of them: the same bytes give the same
// properties and columns, so that a query that comes again costs no more than its records.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "result/ResultBody.h"

namespace VekApi {

// What `lines` says: a header and the fields line behind it, with their ends.
struct TKeptHeader {
  std::string lines;
  std::uint32_t columns = 0;
  std::uint32_t tableIndex = kNone;  // of the table in the result that has this header
  std::uint64_t lastUse = 0;
  std::unique_ptr<TMadeTable> table;  // null: nobody has asked for it, or the result has it
};

class TKeptHeaders {
 public:
  static constexpr std::size_t kCount = 4;

  // The header that `text`, where the result's next table starts, starts with; null when it is none of these.
  const TKeptHeader* Use(std::string_view text, std::uint32_t tableIndex);

  // Whether a header's table is small enough to be kept.
  static bool Takes(std::string_view lines) { return lines.size() <= kMostBytes; }

  // Keeps a header that is not there, with its table, in place of the one that was used the longest time ago.
  // Gives the number of its columns.
  std::uint32_t Keep(std::string_view lines, std::unique_ptr<TMadeTable> table);

  // Gives the tables that are there to the result that has been read, unless its records lie in many places.
  void Give(const TResultBody& body);

  // Takes them back from a result that is to be cleared.
  void TakeBack(TResultBody& body);

  // The result keeps what it was given.
  void Forget();

 private:
  static constexpr std::size_t kMostBytes = 2048;

  std::array<TKeptHeader, kCount> headers_;
  std::uint64_t uses_ = 0;
};

}  // namespace VekApi
