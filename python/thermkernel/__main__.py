"""python -m thermkernel plot ...: see thermkernel.plot."""
import sys

from .plot import main

if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
