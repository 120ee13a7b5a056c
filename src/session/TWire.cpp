#include "session/TWire.h"

#include <utility>

#include "session/CipherSlot.h"
#include "session/TLink.h"

namespace VekApi {

TWire::TWire(const Dstl::wise_ref<TLink>& itsLink, const Dstl::wise_ref<Dova::TMesBase>& itsMes,
             const TCipher& itsCipher)
    : link(itsLink), mes(itsMes), cipher(itsCipher) {}

TWire::~TWire() = default;

bool TWire::Send(const char* packets, int length, TSendNote* note) const {
  const int taken = note ? mes->SendAt(packets, length, note->at) : mes->Send(packets, length);
  link->OnSent();
  if (taken != length) link->TapRefused();
  return taken == length;
}

// Only this thread, inside the context, changes the wire.
void TCipherSlot::Set(TCipher next) {
  Dstl::wise_ref<const TWire> changed;
  if (const auto& now = wire.Kept()) changed = Dstl::make_ref<const TWire>(now->link, now->mes, next);
  const std::lock_guard lock(mutex);
  std::swap(cipher, next);
  wire.Swap(changed);
}

}  // namespace VekApi
