#include "text/numbers.h"
