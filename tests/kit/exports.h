/// The fourteen exports as function pointers, wherever the library is.
#pragma once

#include "interface/zor_interface.h"

namespace zor::testing {

struct Exports {
  decltype(&ZorIntfConfig) Config;
  decltype(&ZorIntfCreate) Create;
  decltype(&ZorIntfDestroy) Destroy;
  decltype(&ZorIntfEnum) Enum;
  decltype(&ZorIntfFreeSerialized) FreeSerialized;
  decltype(&ZorIntfGet) Get;
  decltype(&ZorIntfGetInfo) GetInfo;
  decltype(&ZorIntfGetSerialized) GetSerialized;
  decltype(&ZorIntfGetStatus) GetStatus;
  decltype(&ZorIntfRegEventCallback) RegEventCallback;
  decltype(&ZorIntfSet) Set;
  decltype(&ZorIntfSetSerialized) SetSerialized;
  decltype(&ZorIntfStart) Start;
  decltype(&ZorIntfStop) Stop;
};

}  // namespace zor::testing
