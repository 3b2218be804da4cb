"""The DAO-shaped database objects over SQLite, for the helpers that take them."""
from . import _kivdbxt

globals().update({k: v for k, v in vars(_kivdbxt.dao).items() if not k.startswith("__")})
