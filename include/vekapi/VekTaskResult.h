#ifndef VEKAPI_VEKTASKRESULT_H
#define VEKAPI_VEKTASKRESULT_H

#include <cstddef>
#include <string>
#include <string_view>

#include "vekapi/VekExport.h"
#include "vekapi/VekTable.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

// The answer to a request: the work id that ties it to the request, the server's text, and the tables in it.
//
// Copies are independent. Any number of threads may read a result that nobody changes.
class VEKAPI_EXPORT VekTaskResult {
 public:
  VekTaskResult();
  VekTaskResult(const VekTaskResult& other);
  VekTaskResult& operator=(const VekTaskResult& other);
  // What was moved from is left empty.
  VekTaskResult(VekTaskResult&& other) noexcept;
  VekTaskResult& operator=(VekTaskResult&& other) noexcept;
  ~VekTaskResult();

  // Replaces the whole content by that of a result packet of `length` bytes, of which nothing is read beyond.
  // What is announced longer than the packet is cut; a packet that ends before its work id leaves the result
  // empty. `packet` must not lie inside this result. Memory of earlier contents is kept for the next ones for
  // a while. Throws what the allocation of memory throws; the result is then valid, but not whole.
  void Parse(const char* packet, unsigned length, EVekEndian endian);

  const std::string& WorkID() const;

  // The text that the tables were read from: without the encoding line, and in code page 950 when that line
  // said UTF-8. May hold any bytes; the tables were read up to its first NUL.
  const std::string& OrigResult() const;

  unsigned TableCount() const;

  // In the order in which the tables came first; null when there is no such table. Pointers live until the
  // next Parse, an assignment, or the result's end.
  const VekTable* Table(unsigned index) const;
  const VekTable* Table(const std::string& name) const;

 private:
  class VEKAPI_HIDDEN TImpl;
  class VEKAPI_HIDDEN TReader;

  void Clear(std::size_t nextBytes);
  VekTable& AddTable(std::string_view text);

  std::string origResult_;
  std::string workId_;
  TImpl* impl_ = nullptr;  // null: nothing was ever parsed
};

}  // namespace VekApi

#endif  // VEKAPI_VEKTASKRESULT_H
