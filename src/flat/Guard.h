// The basis of all flat functions: finds the object of a handle and stops exceptions.
#pragma once

#include <functional>
#include <type_traits>

#include "flat/CVekApiC_FlowCtrlSender.h"
#include "flat/ForcedUnwind.h"
#include "flat/VekApiC_FlowCtrl.h"
#include "flat/VekApiC_VekClient.h"
#include "vekapi/VekApiC.h"
#include "vekapi/VekTaskResult.h"

namespace VekApi::Flat {

// The type of the object behind a handle's pointer, and the base class by which the pointer is stored.
template <class Object, class Stored = Object>
struct THandledAs {
  using TObject = Object;
  using TStored = Stored;
};
template <class Handle>
struct THandled;
template <>
struct THandled<CVekClient> : THandledAs<VekApiC_VekClient> {};
template <>
struct THandled<CVekFlowCtrl> : THandledAs<VekFlowCtrl> {};
template <>
struct THandled<CVekFlowCtrlSender> : THandledAs<CVekApiC_FlowCtrlSender, VekFlowCtrl> {};
template <>
struct THandled<CVekProperties> : THandledAs<const VekProperties> {};
template <>
struct THandled<CVekField> : THandledAs<const VekField> {};
template <>
struct THandled<CVekFields> : THandledAs<const VekFields> {};
template <>
struct THandled<CVekTable> : THandledAs<const VekTable> {};
template <>
struct THandled<CVekTaskResult> : THandledAs<const VekTaskResult> {};

template <class Handle>
using TObject = typename THandled<std::remove_const_t<Handle>>::TObject;

// Null for a null handle or address.
template <class Handle>
TObject<Handle>* ObjectOf(Handle* handle) noexcept {
  using TStored = typename THandled<std::remove_const_t<Handle>>::TStored;
  return handle ? static_cast<TObject<Handle>*>(static_cast<TStored*>(handle->object)) : nullptr;
}

// The result of `call` on the handle's object; `none` if there is no object, or if `call` throws.
template <class Handle, class Call>
auto Ask(Handle* handle,
         std::type_identity_t<std::decay_t<std::invoke_result_t<Call&, TObject<Handle>&>>> none, Call call)
    -> decltype(none) {
  TObject<Handle>* const object = ObjectOf(handle);
  if (!object) return none;
  try {
    return std::invoke(call, *object);
  } catch (...) {
    PassForcedUnwind();
    return none;
  }
}

template <class Handle, class Call>
void Do(Handle* handle, Call call) {
  Ask(handle, false, [&](TObject<Handle>& object) {
    std::invoke(call, object);
    return true;
  });
}

// The handle of a new object; a null handle if it cannot be created.
template <class Handle, class Make>
Handle Create(Make make) noexcept {
  try {
    typename THandled<Handle>::TStored* const object = make();
    return {object};
  } catch (...) {
    return {};
  }
}

}  // namespace VekApi::Flat
