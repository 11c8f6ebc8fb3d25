# SPDX-License-Identifier: MIT
"""What the user can put right."""


class LabError(Exception):
    """One line that says what is wrong, without a stop at its end."""
