// The library's one exception type and the routine that raises it.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kalix_export.h"

namespace Kalix {

/// The exception every argument error raises; what() is exactly the library's message text.
class KALIX_EXPORT EKalixError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Raises EKalixError with Message as its text. Never returns.
[[noreturn]] KALIX_EXPORT void ERaise(std::string_view Message);

/// Raises EKalixError with Prefix put before the text of the exception being handled.
/// Call only inside a catch block (it rethrows to read the active exception).
[[noreturn]] KALIX_EXPORT void ERaiseWithPrefix(std::string_view Prefix);

}  // namespace Kalix
