"""Shared code of the tests that run the program on a desktop.

The tests use the paths /Users, /dev/log and /dev/ttyACM0. Run them only in the sandbox (sandbox.py)
or in a virtual machine (tests/guest).
"""
