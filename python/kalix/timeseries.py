"""Autocorrelation, autoregressive fits, exponential smoothing, transforms."""
from ._kalix.timeseries import *  # noqa: F401,F403
