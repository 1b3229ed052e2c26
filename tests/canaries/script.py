"""A canary: a script that fails."""

import sys

print("this script must fail")
sys.exit(3)
