"""What the end-to-end tests stand on: Wine, COM ports, host programs, and decoders of their own.

The decoders (isf, diag, pe) are written from the formats' descriptions and share no code with the
library, so that an error cannot hide by being on both sides.
"""
