"""Carries packets between the cards of gateways with User-mode Linux."""

import contextlib
import selectors
import socket
import threading


class Wires:
    """Carries packets between the two cards of each cable.

    A card connects to its socket when it is set up and closes the connection when it is set down. A packet to
    a card that is down is lost.
    """

    LONGEST_PACKET = 65536

    def __init__(self):
        self.selector = selectors.DefaultSelector()
        self.other_ends = {}
        self.connected = {}

    def lay(self, first_path, second_path):
        self.other_ends.update({first_path: second_path, second_path: first_path})
        for path in (first_path, second_path):
            listener = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
            listener.bind(str(path))
            listener.listen()
            self.selector.register(listener, selectors.EVENT_READ, (self._connect, path))

    def start(self):
        threading.Thread(target=self._carry, daemon=True).start()

    def _carry(self):
        while True:
            for key, _ in self.selector.select():
                action, path = key.data
                action(key.fileobj, path)

    def _connect(self, listener, path):
        self.connected[path], _ = listener.accept()
        self.connected[path].setblocking(False)
        self.selector.register(self.connected[path], selectors.EVENT_READ, (self._pass_on, path))

    def _pass_on(self, sock, path):
        packet = b""
        with contextlib.suppress(ConnectionError):
            packet = sock.recv(self.LONGEST_PACKET)
        if not packet:
            self.selector.unregister(sock)
            sock.close()
            if self.connected[path] is sock:
                del self.connected[path]
        elif other_end := self.connected.get(self.other_ends[path]):
            with contextlib.suppress(BlockingIOError, ConnectionError):
                other_end.send(packet)
