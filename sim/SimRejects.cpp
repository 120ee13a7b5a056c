#include "sim/SimRejects.h"

namespace VekSim {

namespace {

std::string_view TextOf(int code) {
#define VEKSIM_REJECT_TEXT(name, number, text) \
  if (code == number) return text;
  VEKSIM_REJECTS(VEKSIM_REJECT_TEXT)
#undef VEKSIM_REJECT_TEXT
  return TextOf(static_cast<int>(SimReject::Refused));
}

}  // namespace

SimRejection::SimRejection(int number, std::string_view words)
    : code(number), text(words.empty() && number != 0 ? TextOf(number) : words) {}

}  // namespace VekSim
