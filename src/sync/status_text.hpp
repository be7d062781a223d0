// The fixed sentences of the library's own status codes, shared with the flat interface, which
// needs them as static strings.
#pragma once

#include <tarvixsdk/types.hpp>

namespace tarvix_detail {

// The sentence for a status the library itself returns; null for an adapter's own status.
const char* libraryStatusSentence(StatusCode status) noexcept;

} // namespace tarvix_detail
