#include "io/mbn/com_owners.h"

#include <algorithm>

namespace corvane {

sSafeArrayExtent SafeArrayExtent(SAFEARRAY* array) {
  LONG lower = 0;
  LONG upper = 0;
  if (SafeArrayGetDim(array) != 1 || FAILED(MbnCalls().SafeArrayGetLBound(array, 1, &lower)) ||
      FAILED(MbnCalls().SafeArrayGetUBound(array, 1, &upper))) {
    return {};
  }
  // In 64 bits: the distance between two bounds can exceed a LONG. An empty array ends below its
  // lower bound.
  const std::int64_t count = std::int64_t{upper} - lower + 1;
  return {lower, static_cast<std::uint32_t>(std::max<std::int64_t>(count, 0))};
}

cSafeArrayBytes::cSafeArrayBytes(SAFEARRAY* array) {
  const sSafeArrayExtent extent = SafeArrayExtent(array);
  if (extent.count == 0 || SafeArrayGetElemsize(array) != 1) {
    return;
  }
  void* bytes = nullptr;
  if (FAILED(MbnCalls().SafeArrayAccessData(array, &bytes))) {
    return;
  }
  locked = array;
  data = static_cast<std::uint8_t*>(bytes);
  size = extent.count;
}

cSafeArrayBytes::~cSafeArrayBytes() {
  if (locked != nullptr) {
    SafeArrayUnaccessData(locked);
  }
}

cSafeArray MakeByteArray(std::span<const std::uint8_t> bytes) {
  cSafeArray array(MbnCalls().SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size())));
  if (!array) {
    return {};
  }
  const cSafeArrayBytes target(array.Get());
  if (target.Bytes().size() != bytes.size()) {
    return {};
  }
  std::ranges::copy(bytes, target.Bytes().begin());
  return array;
}

}  // namespace corvane
