#include "interface/library.h"

#include "notify/notify_listener.h"

namespace zor {

Library::Library() : client(RunNotifyListener) {}

}  // namespace zor
