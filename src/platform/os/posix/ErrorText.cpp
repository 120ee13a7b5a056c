#include "platform/os/ErrorText.h"

#include <clocale>
#include <cstring>

#include <locale.h>

namespace Dova {
namespace {

// Messages are requested in English, whatever locale the application has set.
locale_t EnglishMessages() {
  static const locale_t english = newlocale(LC_ALL_MASK, "C", nullptr);
  return english;
}

}  // namespace

std::string SysErrorMessage(int systemError) {
  const locale_t english = EnglishMessages();
  const char* text = english != locale_t{} ? strerror_l(systemError, english) : nullptr;
  if (text == nullptr || std::strncmp(text, "Unknown error", 13) == 0) {
    return "Error " + std::to_string(systemError);
  }
  return text;
}

}  // namespace Dova
