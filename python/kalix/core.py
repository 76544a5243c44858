"""Probability functions: densities, distribution functions and quantiles (numbers or arrays)."""
from ._kalix.core import *  # noqa: F401,F403
