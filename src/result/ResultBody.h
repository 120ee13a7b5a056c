// What was read from a result packet. It does not change until nobody but the result that is parsed anew
// holds it: copies of a result share it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "result/NameTable.h"
#include "result/RecordStore.h"
#include "result/TWork.h"
#include "vekapi/VekTable.h"

namespace VekApi {

// Properties and columns are read when a table is asked for: a text of headers alone costs little more than
// itself.
struct TMadeTable {
  VekTable table{VekProperties(std::string())};
  std::uint32_t index = 0;  // its number in the result
  TMadeTable* next = nullptr;
};

struct TTableEntry {
  mutable std::atomic<TMadeTable*> made{nullptr};
  std::uint32_t nameAt;       // the header's text; kNone: a fields line made the unnamed table
  std::uint32_t columns = 0;  // 0: no fields line yet
  std::uint32_t fields = 0;   // where the fields' text starts; how many records came while there was none
  std::uint32_t lastRun = kNone;

  explicit TTableEntry(std::uint32_t at) : nameAt(at) {}
};

class TResultBody {
 public:
  TResultBody() = default;
  TResultBody(const TResultBody&) = delete;
  TResultBody& operator=(const TResultBody&) = delete;
  ~TResultBody() { DropMade(); }

  std::uint32_t Find(std::string_view name, TWork& work) const;  // kNone: no such table

  // Any thread; the table lives as long as the content.
  const VekTable& Table(std::uint32_t index) const;

  // Adds a table, whose name is new; `from` is where the rest of the text starts.
  std::uint32_t Append(std::uint32_t nameAt, std::string_view name, std::size_t from, TWork& work);

  // A table's properties and columns, without its records.
  std::unique_ptr<TMadeTable> Make(std::uint32_t index) const;

  // Takes over a table that has properties and columns, and gives it its records; when another thread was
  // faster, the other's table is the one that counts.
  const VekTable& Adopt(std::uint32_t index, std::unique_ptr<TMadeTable> made) const;

  // One more of the tables that were asked for, out of the content, which is to be cleared next; null when
  // there is none left.
  std::unique_ptr<TMadeTable> TakeMade();

  // Forgets the content. Memory stays for the next one, up to a bound; false when some that cannot be given
  // back by itself is much: better to drop the body.
  bool Clear();

  std::string text;
  std::string workId;
  std::deque<TTableEntry> tables;
  TRecordStore records;

 private:
  template <class TBody>
  friend class TBodyRef;

  bool IsNamed(const TTableEntry& entry, std::string_view name, TWork& work) const;
  std::string_view LineAt(std::uint32_t at, TWork& work) const;
  std::size_t MoreNames(std::size_t from, TWork& work) const;
  void DropMade() {
    while (TakeMade()) {
    }
  }

  TNameTable names_;  // empty while few tables are walked faster
  mutable std::atomic<TMadeTable*> made_{nullptr};
  mutable std::atomic<unsigned> holders_{0};
};

// A counted reference; TBody is TResultBody, const or not.
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
