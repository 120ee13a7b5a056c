#pragma once

#include <cstdint>

#include "platform/runtime/Ref.h"
#include "platform/transport/TMesBase.h"
#include "protocol/Cipher.h"

namespace VekApi {

class TLink;
struct TSendNote;

// What a sender needs: a link, its messenger and its cipher. Never changed but replaced, so one reference
// gives a sender a consistent view.
struct TWire final : Dstl::ref_counter<unsigned> {
  TWire(const Dstl::wise_ref<TLink>& itsLink, const Dstl::wise_ref<Dova::TMesBase>& itsMes,
        const TCipher& itsCipher);

  // True if the link accepted all of it. A tap may have deleted the client: do not access the session
  // afterwards.
  bool Send(const char* packets, int length, TSendNote* note = nullptr) const;

  const Dstl::wise_ref<TLink> link;
  const Dstl::wise_ref<Dova::TMesBase> mes;
  const TCipher cipher;

 private:
  ~TWire() override;
};

// For a caller that sends often, one thread at a time, and tracks what is sent.
struct TSendNote {
  Dstl::wise_ref<const TWire>& wire;  // kept by the caller from one call to the next
  std::uint64_t at;                   // out: its offset in the link's stream (TMesBase::SendAt)
};

}  // namespace VekApi
