// The system's serial control codes and records, whose headers must come in this order.
#pragma once

#include "base/unique.h"

#include <winioctl.h>

#include <ntdef.h>

#include <ntddser.h>
