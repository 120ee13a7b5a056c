// Results for C++20, header-only, over the flat functions of VekApiC.h. No C++ type is passed to the library,
// so programs built with any compiler may use it.
//
//     for (VekApi::VekRecord record : result["orders"]) Show(record["Prod"], record["Price"]);
//
// All classes except VekResult are views, cheap to copy. They, and the texts they return, are valid as long
// as a VekResult owns the result, or until the callback that passed it returns. Texts end with NUL and are
// bytes in code page 950 (ToUtf8). A result does not change: all threads may read it.
//
// If there is no such element, operator[] throws std::out_of_range and Find returns an empty optional.
#ifndef VEKAPI_RESULT_HPP
#define VEKAPI_RESULT_HPP

#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "vekapi/IndexRange.hpp"
#include "vekapi/Text.hpp"
#include "vekapi/VekApiC.h"
#include "vekapi/VekSessionC.h"

namespace VekApi {

namespace Detail {

// For a missing element.
[[noreturn]] inline void NotThere(const char* what, std::string_view which) {
  throw std::out_of_range("there is no " + std::string(what) + " " + std::string(which));
}

// Null becomes an empty optional.
inline std::optional<std::string_view> Present(const char* text) {
  return text != nullptr ? std::optional<std::string_view>(text) : std::nullopt;
}

}  // namespace Detail

// Name and attributes of a table or column.
class VekAttributes {
 public:
  VekAttributes() = default;
  // From a handle of the flat functions, like the constructors of the other views.
  explicit VekAttributes(CVekProperties handle) : handle_(handle) {}

  // The name of the table or column.
  std::string_view Name() const { return Detail::View(CVekProperties_Name(&handle_)); }
  // The text to show to users: the attribute "DisplayText", or the name.
  std::string_view DisplayText() const { return Detail::View(CVekProperties_DisplayText(&handle_)); }
  // The attribute "Description", or the text to show.
  std::string_view Description() const { return Detail::View(CVekProperties_Description(&handle_)); }
  // The value of an attribute.
  std::optional<std::string_view> Find(const char* key) const {
    return Detail::Present(CVekProperties_Get(&handle_, key));
  }

 private:
  CVekProperties handle_{};
};

// One column of a table.
class VekColumn {
 public:
  VekColumn() = default;
  // Of a handle.
  explicit VekColumn(CVekField handle) : handle_(handle) {}

  // The column's name.
  std::string_view Name() const { return Attributes().Name(); }
  // The column's name and attributes.
  VekAttributes Attributes() const { return VekAttributes(CVekField_Properties(&handle_)); }
  // Position in the table, counted from 0.
  int Index() const { return CVekField_Index(&handle_); }
  // For the flat functions.
  const CVekField& Handle() const { return handle_; }

 private:
  CVekField handle_{};
};

// The columns of a table.
class VekColumns : public Detail::IndexRange<VekColumns> {
 public:
  // What the range consists of.
  using Item = VekColumn;

  VekColumns() = default;
  // Of a handle.
  explicit VekColumns(CVekFields handle) : handle_(handle) {}

  // Number of columns.
  int size() const { return CVekFields_Count(&handle_); }
  // The column with that index, which must be below size().
  VekColumn At(int index) const { return VekColumn(CVekFields_IndexField(&handle_, index)); }
  // The column of that name.
  std::optional<VekColumn> Find(const char* name) const {
    const CVekField found = CVekFields_NameField(&handle_, name);
    return found.object != nullptr ? std::optional(VekColumn(found)) : std::nullopt;
  }
  // The column of that name. Throws std::out_of_range.
  VekColumn operator[](const char* name) const {
    const CVekField found = CVekFields_NameField(&handle_, name);
    if (found.object == nullptr) Detail::NotThere("column", name);
    return VekColumn(found);
  }
  VekColumn operator[](const std::string& name) const { return (*this)[name.c_str()]; }

 private:
  CVekFields handle_{};
};

// One value of a record, with its column.
struct VekValue {
  // The value's column.
  VekColumn column;
  // The value; "" if the record has none.
  std::string_view text;
};

// A record: a range of values. `record["Price"]` looks the column up by name; in long loops take the column
// from the table once and use `record[price]`.
class VekRecord : public Detail::IndexRange<VekRecord> {
 public:
  // What the range consists of.
  using Item = VekValue;

  VekRecord() = default;
  // Record `row` of a table, counted from 0.
  VekRecord(CVekTable table, int row) : table_(table), row_(row) {}

  // Number of values.
  int size() const { return Columns().size(); }
  // The column with that index, which must be below size(), and the record's value; "" if it has none.
  VekValue At(int index) const {
    const char* const text = CVekTable_RecordIndexField(&table_, row_, index);
    return {Columns().At(index), text != nullptr ? text : ""};
  }
  // The columns of the table.
  VekColumns Columns() const { return VekColumns(CVekTable_Fields(&table_)); }

  // The value in a column, by index, column or name. Throws std::out_of_range.
  std::string_view operator[](int column) const {
    return Text(CVekTable_RecordIndexField(&table_, row_, column));
  }
  std::string_view operator[](const VekColumn& column) const {
    return Text(CVekTable_RecordField(&table_, row_, &column.Handle()));
  }
  std::string_view operator[](const char* name) const { return (*this)[Columns()[name]]; }
  std::string_view operator[](const std::string& name) const { return (*this)[name.c_str()]; }
  // The value in the column of that name.
  std::optional<std::string_view> Find(const char* name) const {
    const std::optional<VekColumn> column = Columns().Find(name);
    if (!column) return std::nullopt;
    return Detail::Present(CVekTable_RecordField(&table_, row_, &column->Handle()));
  }

 private:
  std::string_view Text(const char* text) const {
    if (text == nullptr) Detail::NotThere("value in record", std::to_string(row_));
    return text;
  }

  CVekTable table_{};
  int row_ = 0;
};

// A table: a range of records.
class VekTableView : public Detail::IndexRange<VekTableView> {
 public:
  // What the range consists of.
  using Item = VekRecord;

  VekTableView() = default;
  // Of a handle.
  explicit VekTableView(CVekTable handle) : handle_(handle) {}

  // The table's name.
  std::string_view Name() const { return Attributes().Name(); }
  // The table's name and attributes.
  VekAttributes Attributes() const { return VekAttributes(CVekTable_Properties(&handle_)); }
  // The columns of the table.
  VekColumns Columns() const { return VekColumns(CVekTable_Fields(&handle_)); }
  int Market() const { return CVekTable_MktFlag(&handle_); }  // cvam_..., or another value

  // Number of records.
  int size() const { return CVekTable_RecordsCount(&handle_); }
  // The record with that index, which must be below size().
  VekRecord At(int row) const { return {handle_, row}; }
  // The record with that index. Throws std::out_of_range.
  VekRecord operator[](int row) const {
    if (row < 0 || row >= size()) Detail::NotThere("record", std::to_string(row));
    return At(row);
  }
  // For the flat functions.
  const CVekTable& Handle() const { return handle_; }

 private:
  CVekTable handle_{};
};

// A borrowed result, as in a callback: VekResultView(event.result). A range of tables.
class VekResultView : public Detail::IndexRange<VekResultView> {
 public:
  // What the range consists of.
  using Item = VekTableView;

  VekResultView() = default;
  // Of a handle.
  explicit VekResultView(CVekTaskResult handle) : handle_(handle) {}

  // False if there is no result.
  explicit operator bool() const { return handle_.object != nullptr; }
  // The id that matches it to its request.
  std::string_view WorkId() const { return Detail::View(CVekTaskResult_WorkID(&handle_)); }
  // The text that the tables were read from, up to its first NUL.
  std::string_view Text() const { return Detail::View(CVekTaskResult_OrigResult(&handle_)); }

  // Number of tables.
  int size() const { return static_cast<int>(CVekTaskResult_TableCount(&handle_)); }
  // The table with that index, which must be below size().
  VekTableView At(int index) const {
    return VekTableView(CVekTaskResult_IndexTable(&handle_, static_cast<unsigned>(index)));
  }
  // The table of that name.
  std::optional<VekTableView> Find(const char* name) const {
    const CVekTable found = CVekTaskResult_NameTable(&handle_, name);
    return found.object != nullptr ? std::optional(VekTableView(found)) : std::nullopt;
  }
  // A table by name or index. Throws std::out_of_range.
  VekTableView operator[](const char* name) const {
    const CVekTable found = CVekTaskResult_NameTable(&handle_, name);
    if (found.object == nullptr) Detail::NotThere("table", name);
    return VekTableView(found);
  }
  VekTableView operator[](const std::string& name) const { return (*this)[name.c_str()]; }
  VekTableView operator[](int index) const {
    if (index < 0 || index >= size()) Detail::NotThere("table", std::to_string(index));
    return At(index);
  }
  // For the flat functions.
  const CVekTaskResult& Handle() const { return handle_; }

 private:
  CVekTaskResult handle_{};
};

// An owned result. Copies share it; the last one frees it. The moved-from result is left empty.
class VekResult : public VekResultView {
 public:
  VekResult() = default;
  VekResult(const VekResult&) = default;
  VekResult& operator=(const VekResult&) = default;
  VekResult(VekResult&& other) noexcept { Swap(other); }
  VekResult& operator=(VekResult&& other) noexcept {
    VekResult taken(std::move(other));
    Swap(taken);
    return *this;
  }
  // The result of an event; empty if it has none. Throws std::bad_alloc.
  static VekResult Keep(CVekSession* session, const CVekEvent& event) {
    if (event.result.object == nullptr) return {};
    auto owner = std::make_shared<Owner>();
    owner->handle = CVekSession_KeepResult(session, &event);
    if (owner->handle.object == nullptr) throw std::bad_alloc();
    return VekResult(std::move(owner));
  }

  // Tables as in VekResultView, but not of a temporary: they would be freed at the end of the statement.
  template <class Which>
  VekTableView operator[](const Which& which) const& {
    return VekResultView::operator[](which);
  }
  template <class Which>
  VekTableView operator[](const Which& which) const&& = delete;
  VekTableView At(int index) const& { return VekResultView::At(index); }
  VekTableView At(int index) const&& = delete;
  std::optional<VekTableView> Find(const char* name) const& { return VekResultView::Find(name); }
  std::optional<VekTableView> Find(const char* name) const&& = delete;

 private:
  struct Owner {
    Owner() = default;
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    ~Owner() { CVekTaskResult_Free(&handle); }
    CVekTaskResult handle{};
  };
  explicit VekResult(std::shared_ptr<Owner> owner) : VekResultView(owner->handle), owner_(std::move(owner)) {}

  void Swap(VekResult& other) noexcept {
    std::swap(static_cast<VekResultView&>(*this), static_cast<VekResultView&>(other));
    owner_.swap(other.owner_);
  }

  std::shared_ptr<Owner> owner_;
};

}  // namespace VekApi

namespace std::ranges {
template <>
inline constexpr bool enable_borrowed_range<VekApi::VekColumns> = true;
template <>
inline constexpr bool enable_borrowed_range<VekApi::VekRecord> = true;
template <>
inline constexpr bool enable_borrowed_range<VekApi::VekTableView> = true;
template <>
inline constexpr bool enable_borrowed_range<VekApi::VekResultView> = true;
}  // namespace std::ranges

#endif  // VEKAPI_RESULT_HPP
