"""A master agent that leaves the registrations of its first subagent without an answer: silent_master.py SOCKET.

Prints a line for each request of a subagent: how many came to it before this one, and what it asks for.
"""

import socket
import struct
import sys

REQUESTS = {1: "open", 2: "close", 3: "register", 4: "unregister", 12: "notify", 13: "ping"}
RESPONSE = 18
NETWORK_ORDER = 0x10


def receive(line, size):
    data = b""
    while len(data) < size:
        part = line.recv(size - len(data))
        if not part:
            raise EOFError
        data += part
    return data


def serve(line, number):
    while True:
        head = receive(line, 20)
        version, request, flags, _ = head[:4]
        order = ">" if flags & NETWORK_ORDER else "<"
        _, transaction, packet, length = struct.unpack(order + "4I", head[4:])
        receive(line, length)
        print(number, REQUESTS.get(request, request), flush=True)
        if number == 0 and request == 3:
            continue
        body = struct.pack(order + "IHH", 0, 0, 0)
        line.sendall(
            struct.pack("4B", version, RESPONSE, flags & NETWORK_ORDER, 0)
            + struct.pack(order + "4I", number + 1, transaction, packet, len(body))
            + body
        )


def main():
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(sys.argv[1])
    listener.listen()
    number = 0
    while True:
        line, _ = listener.accept()
        try:
            serve(line, number)
        except (EOFError, ConnectionError):
            number += 1


main()
