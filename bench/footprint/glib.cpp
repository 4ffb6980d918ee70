// The types of GObject are registered.
#include <glib-object.h>

bool isReady() { return g_type_from_name("GObject") != 0; }
