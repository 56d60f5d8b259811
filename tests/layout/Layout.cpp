// The asserts as C++.
#include "Layout.h"
