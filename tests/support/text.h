/// The scripted conversions: platform/text.h, between UTF-8 and this machine's wide characters.
#pragma once

namespace zor::scripted {

/// Whether every conversion fails from now on.
void FailConversions(bool fail);

}  // namespace zor::scripted
