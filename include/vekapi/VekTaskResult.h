#ifndef VEKAPI_VEKTASKRESULT_H
#define VEKAPI_VEKTASKRESULT_H

#include <atomic>
#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekTable.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

class TLink;

// The answer to a request: the work id that ties it to the request, the server's text, and the tables in it.
//
// Copies are independent and cost next to nothing. Any number of threads may read a result that nobody
// changes.
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
  // empty. `packet` must not lie inside this result. Throws std::bad_alloc, and std::length_error for texts
  // near 4 GiB; the result is then empty. Takes up to ten times the memory of the text.
  void Parse(const char* packet, unsigned length, EVekEndian endian);

  const std::string& WorkID() const;

  // The text that the tables were read from: without the encoding line, and in code page 950 when that line
  // said UTF-8. May hold any bytes; the tables were read up to its first NUL.
  const std::string& OrigResult() const;

  unsigned TableCount() const;

  // In the order in which the tables came first; null when there is no such table. Pointers live until the
  // next Parse, an assignment, or the result's end. A table's properties and columns are read when it is
  // first asked for, which may throw std::bad_alloc.
  const VekTable* Table(unsigned index) const;
  const VekTable* Table(const std::string& name) const;

 private:
  friend class TLink;
  friend struct TTaskResultPeer;  // the tests'

  class VEKAPI_HIDDEN TImpl;

  // The same until `over` is set, by any thread: then false, soon, with the result left empty.
  bool Parse(const char* packet, unsigned length, EVekEndian endian, const std::atomic<bool>& over);

  // Empties the result, and gives back its memory but for a small part that the next Parse can use.
  void ReleaseMemory();

  TImpl* impl_ = nullptr;  // null: nothing was ever parsed
};

}  // namespace VekApi

#endif  // VEKAPI_VEKTASKRESULT_H
