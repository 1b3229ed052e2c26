/* The header needs nothing before it and may be included twice. */
#include "zor_interface.h"
