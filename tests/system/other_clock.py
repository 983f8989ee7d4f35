"""A clock of their own for programs of a device, which tests set while they run."""

LIBRARY = "/usr/$LIB/faketime/libfaketimeMT.so.1"  # the dynamic linker knows what $LIB is
CLOCK = "/run/lab/clock"


class OtherClock:
    """For what is started in the device from now on with its environment. With `steady`
    the monotonic clock is left alone, as when somebody sets the time of day."""

    def __init__(self, device, steady):
        self._file = device.path(CLOCK)
        self.set("+0")
        device.environment = {
            **device.environment, "LD_PRELOAD": LIBRARY, "FAKETIME_TIMESTAMP_FILE": CLOCK,
            "FAKETIME_NO_CACHE": "1", "FAKETIME_DONT_FAKE_MONOTONIC": "1" if steady else "0"}

    def set(self, offset):
        """How far it is from the system's, as faketime writes it: "-1d", "+300"."""
        self._file.write_text(offset + "\n")
