"""Simulated devices that appear, change their names and leave."""

import heapq
import itertools
import random
import select
import socket
import time

GROUP = ("239.255.255.250", 1900)
ALIVE_PERIOD = 30   # seconds between two announcements
STAY = (60, 900)    # seconds that a neighbour is present
AWAY = (5, 300)     # seconds that it is absent
RENAME = (60, 400)  # seconds that it keeps its name
ANSWER = (0, 5)     # seconds until it sends its description


class Neighbour:
    """One device: its address, socket and name, and whether it is present."""

    def __init__(self, address, sock, number):
        self.address = address
        self.sock = sock
        self.usn = f"uuid:65746500-Lumen-{address}-0"
        self.number = number
        self.names = 0
        self.name = ""
        self.asker = None  # the address that requested the description
        self.is_present = False
        self.life = 0  # counts departures; actions planned before the last one are ignored

    def rename(self):
        self.names += 1
        self.name = f"neighbour-{self.number}-{self.names}"

    def notify(self, nts):
        self.sock.sendto((f"NOTIFY * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\n"
                          f"NT: upnp:rootdevice\r\nNTS: ssdp:{nts}\r\n"
                          f"LOCATION: http://{self.address}:80/lumen_upnp_ssdp_1.xml\r\n"
                          f"USN: {self.usn}\r\nCACHE-CONTROL: max-age=120\r\n\r\n").encode(), GROUP)

    def description(self):
        return ("HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n"
                f"<friendlyName>{self.name}</friendlyName><modelDescription>4K encoder"
                "</modelDescription><modelName>Lumen</modelName><modelNumber>0x10660001"
                f"</modelNumber><UDN>{self.usn}</UDN><presentationURL>http://{self.address}:80"
                "/index.html</presentationURL>\r\n\r\n").encode()


class Neighbourhood:
    """All neighbours, on addresses of one machine; `run` runs their planned actions."""

    def __init__(self, peer, addresses, seed=1):
        self._chance = random.Random(seed)
        self._plan = []  # heap of (time, order, neighbour, life, action)
        self._order = itertools.count()
        self.counts = {"arrivals": 0, "renames": 0, "goodbyes": 0, "silent departures": 0}
        self._neighbours = [Neighbour(address, self._socket(peer, address), number)
                            for number, address in enumerate(addresses)]
        self._by_socket = {each.sock: each for each in self._neighbours}
        for each in self._neighbours:
            self._later(self._chance.uniform(0, 60), each, self._appear)

    def present(self):
        """The names of the present neighbours, by address."""
        return {each.address: each.name for each in self._neighbours if each.is_present}

    def run(self, seconds, frozen=False):
        """Runs planned actions for a time; while frozen, no neighbour appears, leaves or is
        renamed."""
        end = time.monotonic() + seconds
        while (now := time.monotonic()) < end:
            wait = min(end, self._plan[0][0] if self._plan else end) - now
            for sock in select.select(list(self._by_socket), [], [], max(wait, 0))[0]:
                self._receive(self._by_socket[sock])
            self._do_what_is_due(frozen)

    def close(self):
        for each in self._neighbours:
            each.sock.close()

    @staticmethod
    def _socket(peer, address):
        peer.run("ip", "addr", "add", f"{address}/24", "dev", "net0")
        with peer.network():
            sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        sock.bind((address, 1900))
        sock.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(address))
        return sock

    def _later(self, seconds, neighbour, action):
        heapq.heappush(self._plan, (time.monotonic() + seconds, next(self._order), neighbour,
                                    neighbour.life, action))

    def _do_what_is_due(self, frozen):
        always = (self._announce, self._answer)
        while self._plan and self._plan[0][0] <= time.monotonic():
            _, _, neighbour, life, action = heapq.heappop(self._plan)
            if life != neighbour.life:
                continue
            if frozen and action not in always:
                self._later(1, neighbour, action)
            else:
                action(neighbour)

    def _receive(self, neighbour):
        data, sender = neighbour.sock.recvfrom(2000)
        if neighbour.is_present and data.startswith(b"GET "):
            neighbour.asker = sender
            self._later(self._chance.uniform(*ANSWER), neighbour, self._answer)

    def _answer(self, neighbour):
        neighbour.sock.sendto(neighbour.description(), neighbour.asker)

    def _announce(self, neighbour):
        neighbour.notify("alive")
        self._later(ALIVE_PERIOD, neighbour, self._announce)

    def _appear(self, neighbour):
        self.counts["arrivals"] += 1
        neighbour.is_present = True
        neighbour.rename()
        self._announce(neighbour)
        self._later(self._chance.uniform(*STAY), neighbour, self._leave)
        self._later(self._chance.uniform(*RENAME), neighbour, self._change_name)

    def _leave(self, neighbour):
        with_goodbye = self._chance.random() < 0.5
        if with_goodbye:
            neighbour.notify("byebye")
        self.counts["goodbyes" if with_goodbye else "silent departures"] += 1
        neighbour.is_present = False
        neighbour.life += 1
        self._later(self._chance.uniform(*AWAY), neighbour, self._appear)

    def _change_name(self, neighbour):
        """Like a device: says goodbye, then announces itself with the new name."""
        self.counts["renames"] += 1
        neighbour.notify("byebye")
        neighbour.rename()
        neighbour.notify("alive")
        self._later(self._chance.uniform(*RENAME), neighbour, self._change_name)
