"""What the system tests stand on: a desktop, a scanner, and the program between them.

Everything here runs inside the sandbox that sandbox.py makes, and only there: it takes the paths
/Users, /dev/log and /dev/ttyACM0 for its own.
"""
