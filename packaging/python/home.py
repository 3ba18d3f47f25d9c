"""The home that the wheel has brought along."""
import os
import sys


def run():
    """The command vexa of this home."""
    os.execv(os.path.join(os.path.dirname(os.path.abspath(__file__)), "bin/vexa"), sys.argv)
