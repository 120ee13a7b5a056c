#pragma once

#include "vekapi/VekSessionC.h"

namespace VekTerm {

// Sees every event of a session before it is reported.
class EventSink {
 public:
  virtual ~EventSink() = default;
  virtual void Add(const CVekEvent& event) = 0;
};

}  // namespace VekTerm
