"""Shared code of the tests that run the program on a desktop.

Run it in the sandbox of sandbox.py only: it uses the paths /Users, /dev/log and /dev/ttyACM0.
"""
