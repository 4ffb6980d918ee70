#include <veljsontop.h>
