// Kalix Stats: one include for the whole library.
#pragma once

#include "core/KalixCore.h"          // IWYU pragma: export
#include "Statistics/Statistics.h"   // IWYU pragma: export
#include "Regress/Regress.h"         // IWYU pragma: export
#include "RegModels/RegModels.h"     // IWYU pragma: export
#include "StatControlCharts/StatControlCharts.h"  // IWYU pragma: export
#include "StatProbPlots/StatProbPlots.h"          // IWYU pragma: export
#include "StatRandom/StatRandom.h"   // IWYU pragma: export
#include "StatTimeSerAnalysis/StatTimeSerAnalysis.h"  // IWYU pragma: export
#include "Statistics/Partials.h"     // IWYU pragma: export
#include "Regress/Partials.h"        // IWYU pragma: export
