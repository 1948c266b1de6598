// The start-up every target but imagefile shares: the library's log stays
// quiet, so that refusals, which the targets provoke by the thousand, do not
// drown libFuzzer's own output.

#include "FuzzSupport.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  fuzz::quietLog();
  return 0;
}
