/// Wine has this header's contents under another name.
#pragma once

#include <wbemcli.h>
