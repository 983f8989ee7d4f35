"""Measures the daemon beside yardsticks, on a virtual network.

Every figure is a ratio of two numbers taken in the same run, with the same
traffic, by the same means: processor time from the kernel's scheduler
statistics, summed over a program's threads.
"""
