#include "tests/cpp/result_text.h"

#include "interface/zor_result.h"

const char* result_text_in_c(ZorResult result) {
  static char buffer[ZOR_RESULT_TEXT_SIZE];
  return zor_result_text(result, buffer);
}
