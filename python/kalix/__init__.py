"""Kalix Stats for NumPy arrays.

Functions are grouped like the C++ namespaces: kalix.statistics, kalix.regress,
kalix.regmodels, kalix.timeseries, kalix.random, kalix.probplots, kalix.controlcharts, and
kalix.core for the probability functions. Each docstring names the C++ function it calls.

Arrays are read in place when they are C-contiguous and aligned (float64, float32 and complex
stay in their precision; other numbers are converted to float64); results are NumPy arrays
that own the library's buffers. The library's errors raise kalix.KalixError (a ValueError)
with the library's own message. Every call releases the interpreter lock, except those that
call back into Python (nonlinear regression), so threads run in parallel.
"""
from ._kalix import (  # noqa: F401
    KalixError,
    HypothesisType,
    HypothesisResult,
    PercentileMethod,
    view_alignment,
)
from . import (  # noqa: F401
    controlcharts,
    core,
    probplots,
    random,
    regmodels,
    regress,
    statistics,
    timeseries,
)

__all__ = [
    "KalixError", "HypothesisType", "HypothesisResult", "PercentileMethod", "view_alignment",
    "controlcharts", "core", "probplots", "random", "regmodels", "regress", "statistics", "timeseries",
]
# Mergeable partial results.
from . import partials  # noqa: E402,F401
__all__.append("partials")
