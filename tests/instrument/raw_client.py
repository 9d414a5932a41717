"""What clients of a protocol in binary have in common: one connection to the instrument."""

import socket
import struct

HOST = "127.0.0.1"


class RawClient:
    """One connection. A context manager."""

    def __init__(self, port, timeout_s=60):
        self.socket = socket.create_connection((HOST, port), timeout=timeout_s)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def die(self):
        """Leaves like a process that is killed with unread answers, or a machine that is switched off: the connection is
        reset."""
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.socket.close()

    def receive(self, count):
        data = bytearray()
        while len(data) < count:
            piece = self.socket.recv(count - len(data))
            if not piece:
                raise ConnectionResetError("the server has closed")
            data += piece
        return bytes(data)
