"""Data of probability plots."""
from ._kalix.probplots import *  # noqa: F401,F403
