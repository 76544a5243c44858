"""Shewhart, EWMA and CUSUM charts, Westgard rules, capability indexes."""
from ._kalix.controlcharts import *  # noqa: F401,F403
