// The pass over a result's text that copies it and assigns its lines to tables.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "result/KeptHeaders.h"
#include "result/RecordCutter.h"
#include "result/ResultBody.h"
#include "result/TWork.h"

namespace VekApi {

class TResultReader {
 public:
  // The text must stay until it is read.
  TResultReader(std::string_view text, TResultBody& body, TKeptHeaders& kept, TWork& work)
      : body_(body), kept_(kept), work_(work), text_(text), cutter_(text, body.records, work) {}

  // Reads the text into an empty body. False if the work stopped.
  bool Read();

 private:
  std::size_t OnLine(std::size_t at);
  std::size_t OnHeader(std::size_t at);
  std::size_t OnKeptHeader(std::size_t at);
  std::size_t OnFields(std::size_t at);
  std::size_t OnRecords(std::size_t at);
  std::size_t OnBareRecords(std::size_t at);
  void CopyUpTo(std::size_t end);
  void KeepBareRecords();
  std::uint32_t ReadColumns(std::size_t end, std::size_t next);
  void OpenRun(TTableEntry& table);
  TTableEntry& Table() { return body_.tables[table_]; }

  TResultBody& body_;
  TKeptHeaders& kept_;
  TWork& work_;
  std::string_view text_;
  TRecordCutter cutter_;
  TNameTable columnNames_;
  std::size_t copied_ = 0;           // the body has the text up to here
  std::uint32_t table_ = kNone;      // the table that lines belong to; kNone before the first
  std::size_t newHeaderAt_ = kNone;  // start of the current table's header, on the next line only
};

}  // namespace VekApi
