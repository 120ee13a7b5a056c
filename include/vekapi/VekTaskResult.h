#ifndef VEKAPI_VEKTASKRESULT_H
#define VEKAPI_VEKTASKRESULT_H

#include <atomic>
#include <string>

#include "vekapi/VekExport.h"
#include "vekapi/VekTable.h"
#include "vekapi/VekTypes.h"

namespace VekApi {

class TLink;

// The result of a query: the work id that matches it to its request, the server's text, and the tables in it.
//
// Copies are independent and cheap. A result that is not being changed may be read by any number of threads.
class VEKAPI_EXPORT VekTaskResult {
 public:
  // An empty result.
  VekTaskResult();
  VekTaskResult(const VekTaskResult& other);
  VekTaskResult& operator=(const VekTaskResult& other);
  // The moved-from result is left empty.
  VekTaskResult(VekTaskResult&& other) noexcept;
  VekTaskResult& operator=(VekTaskResult&& other) noexcept;
  ~VekTaskResult();

  // Replaces the content by that of a result packet of `length` bytes; reads nothing beyond them. Announced
  // lengths are cut to the packet; a packet that ends before its work id leaves the result empty. `packet`
  // must not point into this result. Throws std::bad_alloc, or std::length_error for texts near 4 GiB; the
  // result is then empty. Uses up to ten times the size of the text in memory.
  void Parse(const char* packet, unsigned length, EVekEndian endian);

  // The id that matches this result to its request.
  const std::string& WorkID() const;

  // The text that the tables were parsed from: without the encoding line, and converted to code page 950 if
  // that line said UTF-8. May contain any bytes; tables were parsed up to the first NUL. The first call makes
  // the text from the parsed records, and may throw std::bad_alloc.
  const std::string& OrigResult() const;

  // Number of tables.
  unsigned TableCount() const;

  // A table by index, counted from 0, or by name, in arrival order; null if there is no such table. Pointers
  // are valid until the next Parse, an assignment, or the end of the result. A table's properties and columns
  // are parsed on first access, which may throw std::bad_alloc.
  const VekTable* Table(unsigned index) const;
  const VekTable* Table(const std::string& name) const;

 private:
  friend class TLink;
  friend struct TTaskResultPeer;  // for tests

  class VEKAPI_HIDDEN TImpl;

  // As the public Parse, until any thread sets `over`: then returns false soon, with the result empty.
  bool Parse(const char* packet, unsigned length, EVekEndian endian, const std::atomic<bool>& over);

  // Empties the result; up to a limit its memory is kept for the next Parse.
  void Clear();

  // The same, but until then the system may use the kept memory otherwise.
  void ReleaseMemory();

  TImpl* impl_ = nullptr;  // null: nothing parsed yet
};

}  // namespace VekApi

#endif  // VEKAPI_VEKTASKRESULT_H
