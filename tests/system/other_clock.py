"""A separate clock for programs of a device. Tests set it while the programs run."""

LIBRARY = "/usr/$LIB/faketime/libfaketimeMT.so.1"  # the dynamic linker replaces $LIB
CLOCK = "/run/lab/clock"


class OtherClock:
    """A clock for programs that are started in the device from now on with its environment.
    With `steady` the monotonic clock is not changed, as when the time of day is set."""

    def __init__(self, device, steady):
        self._file = device.path(CLOCK)
        self.set("+0")
        device.environment = {
            **device.environment, "LD_PRELOAD": LIBRARY, "FAKETIME_TIMESTAMP_FILE": CLOCK,
            "FAKETIME_NO_CACHE": "1", "FAKETIME_DONT_FAKE_MONOTONIC": "1" if steady else "0"}

    def set(self, offset):
        """Sets the offset from the system's clock, in faketime's notation: "-1d", "+300"."""
        self._file.write_text(offset + "\n")
