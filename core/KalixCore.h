// The numeric core: containers, scratch pool, reductions, sorting, element-wise operations,
// scalar mathematics, probability functions, linear algebra and optimisation.
#pragma once

#include "Containers.h"     // IWYU pragma: export
#include "Dispatch.h"       // IWYU pragma: export
#include "Errors.h"         // IWYU pragma: export
#include "Histogram.h"      // IWYU pragma: export
#include "LinAlg.h"         // IWYU pragma: export
#include "Ops.h"            // IWYU pragma: export
#include "Optimize.h"       // IWYU pragma: export
#include "Probability.h"    // IWYU pragma: export
#include "Reductions.h"     // IWYU pragma: export
#include "ScalarMath.h"     // IWYU pragma: export
#include "Scratch.h"        // IWYU pragma: export
#include "Sorting.h"        // IWYU pragma: export
#include "StatTypes.h"      // IWYU pragma: export
#include "Random.h"         // IWYU pragma: export
#include "GradientOptimize.h" // IWYU pragma: export
#include "Signal.h"         // IWYU pragma: export
