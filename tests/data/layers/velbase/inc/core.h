#include "veltop.h"
