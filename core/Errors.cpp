#include "Errors.h"

namespace Kalix {

void ERaise(std::string_view Message) { throw EKalixError(std::string(Message)); }

void ERaiseWithPrefix(std::string_view Prefix) {
  std::string text(Prefix);
  try {
    throw;
  } catch (const std::exception& e) {
    text += e.what();
  } catch (...) {
    text += "unknown error";
  }
  throw EKalixError(text);
}

}  // namespace Kalix
