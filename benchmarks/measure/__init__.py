"""Measures the daemon and compares it with other programs, on a virtual network.

A comparison is the ratio of two figures that were measured in the same run, with the same
traffic and by the same means. Processor time comes from the kernel's scheduler statistics,
summed over a program's threads.
"""
