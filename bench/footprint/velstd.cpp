// The types of the library are registered.
#include "velstd.h"

bool isReady() { return velRttiGetFromMap("intseq") != nullptr; }
