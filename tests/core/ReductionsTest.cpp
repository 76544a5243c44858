#include "support/TestSupport.h"
