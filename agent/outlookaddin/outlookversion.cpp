#include "agent/outlookaddin/outlookversion.h"

std::int32_t g_outlookVersionCode = 0;
