# SPDX-License-Identifier: MIT
"""Scenes, measures and the demonstration for the beamforming library. Needs NumPy."""
