#include "frame/exceptions.h"

#include <cstring>

#include "frame/host_api.h"
#include "frame/string_build.h"

void RaiseException(const char *className, const char *message, uint32_t errorNumber) {
  // The exception and its message are references the plugin must give back.
  if (!ztk::host::can_release_objects()) return;
  REALstring text = nullptr;
  if (message != nullptr && message[0] != '\0' && ztk::host::can_release_strings()) {
    text = ztk::BuildString(message, static_cast<int64_t>(std::strlen(message)), enc::kASCII);
  }
  REALobject e = REALnewInstance(className);
  if (e == nullptr) e = REALnewInstance("RuntimeException");
  if (e != nullptr) {
    REALSetPropValueString(e, "Message", text);
    REALSetPropValueInt32(e, "ErrorNumber", static_cast<int32_t>(errorNumber));
    REALRaiseException(e);
    REALUnlockObject(e);
  }
  if (text != nullptr) REALUnlockString(text);
}
