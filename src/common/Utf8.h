#pragma once

#include <string>
#include <string_view>

namespace mavo {

// Other applications' names, titles and classes are arbitrary bytes. This returns them as valid
// UTF-8: every ill-formed sequence (stray continuation, truncated or overlong form, surrogate,
// beyond U+10FFFF) becomes one U+FFFD, and well-formed text is returned unchanged.
std::string validUtf8(std::string_view bytes);

}  // namespace mavo
