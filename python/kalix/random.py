"""Random variates of 25 distributions (explicit seeds repeat)."""
from ._kalix.random import *  # noqa: F401,F403
