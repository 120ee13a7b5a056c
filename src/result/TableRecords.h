// The records of a table: those that a result shows it, and behind them those that were added by hand.
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
  // Holds the result that its records are in.
  TRecords(const TRecords& other);
  TRecords& operator=(const TRecords&) = delete;

  std::size_t Count() const { return shown_ + added_.size(); }

  // Null when there is no such value.
  const char* Value(std::size_t row, std::size_t column) const;

  void Add(std::string_view line, std::uint32_t columns);

  // Shows the runs of a result up to this one, instead of what was shown before. The result outlives this
  // object.
  void Show(const TResultBody& body, std::uint32_t lastRun);
  // Shows so many records without values.
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

  TBodyRef<const TResultBody> held_;  // none where the body itself has this object
  const TResultBody* body_ = nullptr;
  std::vector<TShownRun> runs_;
  std::size_t shown_ = 0;
  std::vector<std::unique_ptr<const TLine>> added_;
};

}  // namespace VekApi
