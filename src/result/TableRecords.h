// The records of a table: those of a result, followed by those added by the application.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "result/ResultBody.h"
#include "vekapi/VekTable.h"

namespace VekApi {

class VekTable::TRecords {
 public:
  TRecords() = default;
  // Shows the same records, and keeps their result alive.
  TRecords(const TRecords& other);
  TRecords& operator=(const TRecords&) = delete;

  std::size_t Count() const { return shown_ + added_.size(); }

  // Null if there is no such value.
  const char* Value(std::size_t row, std::size_t column) const;

  // No records if there is no such row.
  VekRecordBlock Block(std::size_t row) const;

  void Add(std::string_view line, std::uint32_t columns);

  // Shows the runs of a result up to `lastRun`, replacing what was shown before. The result must outlive this
  // object.
  void Show(const TResultBody& body, std::uint32_t lastRun);
  // Shows `rows` records without values.
  void ShowBare(std::size_t rows);
  void Hide();

 private:
  struct TShownRun {
    const TRun* run;
    std::size_t firstRow;
    std::size_t startsEnd;
  };

  struct TLine {
    std::string text;
    std::vector<std::uint32_t> starts;
    std::uint32_t columns;
  };

  const TShownRun& RunOf(std::size_t row) const;
  static VekRecordBlock BlockOf(const TLine& line);

  TBodyRef<const TResultBody> held_;  // null if the body itself owns this object
  const TResultBody* body_ = nullptr;
  std::vector<TShownRun> runs_;
  std::size_t shown_ = 0;
  std::vector<std::unique_ptr<const TLine>> added_;
};

}  // namespace VekApi
