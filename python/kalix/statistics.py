"""Descriptive statistics, histograms, principal components, distribution fits and hypothesis tests."""
from ._kalix.statistics import *  # noqa: F401,F403
