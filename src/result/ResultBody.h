// The content parsed from a result packet. Shared by copies of a result, and immutable until only the result
// that parses the next packet holds it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "platform/os/Mutex.h"
#include "result/Chunks.h"
#include "result/NameTable.h"
#include "result/RecordStore.h"
#include "result/TWork.h"
#include "vekapi/VekTable.h"

namespace VekApi {

// Properties and columns are parsed on first access, so a text of headers only costs little more than its
// size.
struct TMadeTable {
  VekTable table{VekProperties(std::string())};
  std::uint32_t index = 0;  // index in the result
  TMadeTable* next = nullptr;
};

struct TTableEntry {
  mutable std::atomic<TMadeTable*> made{nullptr};
  std::uint32_t nameAt;       // position of the header; kNone: a fields line created the unnamed table
  std::uint32_t columns = 0;  // 0: no fields line yet
  std::uint32_t fields = 0;   // position of the fields text; before it is known, the number of records so far
  std::uint32_t lastRun = kNone;

  explicit TTableEntry(std::uint32_t at) : nameAt(at) {}
};

class TResultBody {
 public:
  TResultBody() = default;
  TResultBody(const TResultBody&) = delete;
  TResultBody& operator=(const TResultBody&) = delete;
  ~TResultBody() { DropMade(); }

  std::uint32_t Find(std::string_view name, TWork& work) const;  // kNone if there is no such table

  // Thread-safe. The table is valid as long as the content.
  const VekTable& Table(std::uint32_t index) const;

  // Adds a table with a new name; `rest` is the text from the end of its first line on.
  std::uint32_t Append(std::uint32_t nameAt, std::string_view name, std::string_view rest, TWork& work);

  // Parses a table's properties and columns, without its records.
  std::unique_ptr<TMadeTable> Make(std::uint32_t index) const;

  // Takes ownership of a table that has properties and columns, and adds its records. No other thread may use
  // the content yet.
  void Own(std::uint32_t index, std::unique_ptr<TMadeTable> made);

  // Removes and returns one of the tables that were requested, before the content is cleared; null if none is
  // left.
  std::unique_ptr<TMadeTable> TakeMade();

  // Clears the content. Keeps memory for the next one, up to a limit.
  void Clear();

  // Lets the system reuse the memory that Clear has kept.
  void GiveBack();

  // The text as it was before it was cut. Thread-safe; valid as long as the content. Throws std::bad_alloc.
  const std::string& Text() const;

  // The buffer of a text that is made for this body, and then its text.
  std::string& MakeText() {
    hasText_.store(true, std::memory_order_relaxed);
    return text_;
  }

  std::string workId;
  TChunks<TTableEntry> tables;
  TRecordStore records;

 private:
  template <class TBody>
  friend class TBodyRef;

  void AddRecords(TMadeTable& made, const TTableEntry& entry) const;
  const VekTable& Adopt(std::uint32_t index, std::unique_ptr<TMadeTable> made) const;
  bool IsNamed(const TTableEntry& entry, std::string_view name, TWork& work) const;
  std::string_view Cut() const { return {records.copy.Data(), records.textBytes}; }
  std::string_view LineAt(std::uint32_t at, TWork& work) const;
  void DropMade() {
    while (TakeMade()) {
    }
  }

  TNameTable names_;  // empty while a linear search is faster
  mutable std::atomic<TMadeTable*> made_{nullptr};
  mutable std::atomic<unsigned> holders_{0};
  mutable Dova::Os::TMutex textMutex_;
  mutable std::atomic<bool> hasText_{false};
  mutable std::string text_;
};

// A counted reference. TBody is TResultBody, const or not.
template <class TBody>
class TBodyRef {
 public:
  TBodyRef() = default;
  explicit TBodyRef(TBody* body) : body_(body) { Hold(); }
  TBodyRef(const TBodyRef& other) : body_(other.body_) { Hold(); }
  TBodyRef& operator=(TBodyRef other) noexcept {
    std::swap(body_, other.body_);
    return *this;
  }
  ~TBodyRef() {
    if (body_ && body_->holders_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete body_;
  }

  explicit operator bool() const { return body_ != nullptr; }
  TBody* Get() const { return body_; }
  TBody* operator->() const { return body_; }
  TBody& operator*() const { return *body_; }
  bool IsOnlyOne() const { return body_ && body_->holders_.load(std::memory_order_acquire) == 1; }

 private:
  void Hold() {
    if (body_) body_->holders_.fetch_add(1, std::memory_order_relaxed);
  }

  TBody* body_ = nullptr;
};

}  // namespace VekApi
