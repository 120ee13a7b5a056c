#include "result/ResultBody.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "result/KeyedHash.h"
#include "result/Lines.h"
#include "result/TableRecords.h"

namespace VekApi {
namespace {

constexpr std::size_t kWalk = 8;  // up to this many tables are searched linearly
constexpr std::size_t kKeptBytes = 16 * 1024 * 1024;
constexpr std::size_t kKeptTables = 1024;

// Upper bound of the names in the rest of the text: names of two bytes and more are counted; space for
// shorter ones is always reserved.
std::size_t MoreNames(std::string_view rest, TWork& work) {
  std::size_t count = 257;
  for (std::size_t from = 0;; ++from) {
    const std::size_t at = FindEither(rest, from, kTableMark, '\0', work);
    if (at == rest.size() || rest[at] == '\0' || work.Spend(at + 1 - from)) return count;
    const bool isShort = rest.substr(at + 1, 2).find(kLineEnd) != rest.npos;
    if (at > 0 && rest[at - 1] == kLineEnd && !isShort) ++count;
    from = at;
  }
}

}  // namespace

// Properties end with their line or the text, their name at the first pair.
bool TResultBody::IsNamed(const TTableEntry& entry, std::string_view name, TWork& work) const {
  if (entry.nameAt == kNone) return name.empty();
  const std::string_view rest = Cut().substr(entry.nameAt);
  if (!StartsWith(rest, name, work)) return false;
  if (rest.size() == name.size()) return true;
  const char end = rest[name.size()];
  return end == kPartEnd || end == kLineEnd || end == '\0';
}

std::uint32_t TResultBody::Find(std::string_view name, TWork& work) const {
  const auto isNamed = [&](std::uint32_t index) { return IsNamed(tables[index], name, work); };
  if (tables.Size() > kWalk) return names_.Find(KeyedHash(name, work), isNamed);
  for (std::uint32_t i = 0; i < tables.Size(); ++i)
    if (isNamed(i)) return i;
  return kNone;
}

std::uint32_t TResultBody::Append(std::uint32_t nameAt, std::string_view name, std::string_view rest,
                                  TWork& work) {
  const auto index = static_cast<std::uint32_t>(tables.Size());
  const auto enter = [&](std::uint32_t number, std::string_view its) {
    names_.Slot(KeyedHash(its, work), [](std::uint32_t) { return false; }) = number;
  };
  if (index == kWalk) {
    names_.Reset(kWalk + MoreNames(rest, work));
    for (std::uint32_t i = 0; i < index; ++i)
      enter(i, tables[i].nameAt == kNone ? std::string_view() : NameOf(LineAt(tables[i].nameAt, work), work));
  }
  tables.Add(nameAt);
  if (index >= kWalk) enter(index, name);
  return index;
}

std::string_view TResultBody::LineAt(std::uint32_t at, TWork& work) const {
  return Cut().substr(at, LineEnd(Cut(), at, work) - at);
}

const std::string& TResultBody::Text() const {
  if (hasText_.load(std::memory_order_acquire)) return text_;
  const std::lock_guard lock(textMutex_);
  if (hasText_.load(std::memory_order_relaxed)) return text_;
  text_.assign(Cut());
  records.Join(text_.data());
  hasText_.store(true, std::memory_order_release);
  return text_;
}

const VekTable& TResultBody::Table(std::uint32_t index) const {
  if (const TMadeTable* made = tables[index].made.load(std::memory_order_acquire)) return made->table;
  return Adopt(index, Make(index));
}

std::unique_ptr<TMadeTable> TResultBody::Make(std::uint32_t index) const {
  const TTableEntry& entry = tables[index];
  auto made = std::make_unique<TMadeTable>();
  made->index = index;
  TWork work;
  if (entry.nameAt != kNone) made->table.Properties().SetProperties(std::string(LineAt(entry.nameAt, work)));
  if (entry.columns > 0) made->table.Fields().SetFields(std::string(LineAt(entry.fields, work)));
  return made;
}

void TResultBody::AddRecords(TMadeTable& made, const TTableEntry& entry) const {
  if (entry.lastRun != kNone) made.table.Records().Show(*this, entry.lastRun);
  if (entry.columns == 0 && entry.fields > 0) made.table.Records().ShowBare(entry.fields);
}

void TResultBody::Own(std::uint32_t index, std::unique_ptr<TMadeTable> made) {
  made->index = index;
  AddRecords(*made, tables[index]);
  made->next = made_.load(std::memory_order_relaxed);
  tables[index].made.store(made.get(), std::memory_order_relaxed);
  made_.store(made.release(), std::memory_order_relaxed);
}

// If another thread was faster, that thread's table is returned.
const VekTable& TResultBody::Adopt(std::uint32_t index, std::unique_ptr<TMadeTable> made) const {
  const TTableEntry& entry = tables[index];
  AddRecords(*made, entry);
  TMadeTable* other = nullptr;
  if (!entry.made.compare_exchange_strong(other, made.get(), std::memory_order_acq_rel)) return other->table;
  TMadeTable* const first = made.release();
  first->next = made_.load(std::memory_order_relaxed);
  while (!made_.compare_exchange_weak(first->next, first, std::memory_order_release)) {
  }
  return first->table;
}

std::unique_ptr<TMadeTable> TResultBody::TakeMade() {
  std::unique_ptr<TMadeTable> first(made_.load(std::memory_order_acquire));
  if (!first) return nullptr;
  made_.store(first->next, std::memory_order_relaxed);
  if (first->table.records_) first->table.records_->Hide();
  return first;
}

void TResultBody::Clear() {
  DropMade();
  text_.clear();
  hasText_.store(false, std::memory_order_relaxed);
  workId.clear();
  tables.Clear(kKeptTables);
  std::size_t room = kKeptBytes;
  records.Clear(room);
  names_.Clear(room);
  if (text_.capacity() > room) std::string().swap(text_);
}

void TResultBody::GiveBack() {
  records.GiveBack();
  std::string().swap(text_);
}

}  // namespace VekApi
