"""Ready-made regression models: evaluation, fits and derivatives."""
from ._kalix.regmodels import *  # noqa: F401,F403
