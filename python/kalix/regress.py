"""Linear, biased, nonlinear and generalised linear regression; analysis of variance."""
from ._kalix.regress import *  # noqa: F401,F403
