# SPDX-License-Identifier: MIT
import sys

from .cli import main

sys.exit(main())
