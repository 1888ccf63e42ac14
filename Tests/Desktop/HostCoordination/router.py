#!/usr/bin/env python3
"""A small Router of the host, good and bad.

usage: router.py SOCKET

Clients connect to SOCKET. A test steers by lines on standard input, each of which is
answered by one on standard output:

  lag SECONDS       wait before each frame
  split BYTES       send each frame in pieces of that size (0: whole)
  reorder           hold the next answer back until one more has been sent
  truncate          cut the next frame in half, and the connection with it
  deaf / hear       read nothing more / read again
  raw HEX           send bytes as they are to every client
  flood COUNT       send that many broadcasts ("flood", version 1) to every client
  farewell on|off   close each connection as soon as its client has introduced itself
  close             close every connection
  leave / return    stop listening / listen again
  clients           how many connections there are
  introductions     how many clients have introduced themselves so far
  heard METHOD      how many broadcasts of the method have come so far

It answers the requests "echo" (with the params), "refuse" and "silent", forwards
broadcasts to those whom they are meant for, and asks each client whether it can handle
something as soon as it is connected.
"""

import json
import os
import socket
import struct
import sys
import threading
import time


class Manners:
    def __init__(self):
        self.lag = 0.0
        self.split = 0
        self.reorder = False
        self.held = None
        self.truncate = False
        self.farewell = False
        self.hearing = threading.Event()
        self.hearing.set()


class Client:
    def __init__(self, router, connection, number):
        self.router = router
        self.connection = connection
        self.id = f"client-{number}"
        self.introduced = False
        self.sending = threading.Lock()
        threading.Thread(target=self.serve, daemon=True).start()

    def read(self, count):
        data = b""
        while len(data) < count:
            piece = self.connection.recv(min(count - len(data), 1 << 20))
            if not piece:
                raise ConnectionError
            data += piece
        return data

    def serve(self):
        try:
            self.send({"type": "client-discovery-request", "requestId": "can-you"})
            while True:
                self.router.manners.hearing.wait()
                (length,) = struct.unpack("<I", self.read(4))
                self.handle(json.loads(self.read(length)))
        except (OSError, ConnectionError):
            pass
        finally:
            self.router.forget(self)

    def handle(self, frame):
        if frame["type"] == "request":
            self.answer(frame)
        elif frame["type"] == "broadcast":
            self.router.forward(self, frame)
        elif frame["type"] == "client-discovery-response":
            assert frame["response"] == {"canHandle": False}, frame

    def answer(self, request):
        answer = {"type": "response", "requestId": request["requestId"], "resultType": "success"}
        method = request["method"]
        if method == "initialize":
            assert request["sourceClientId"] == "initializing-client", request
            answer["result"] = {"clientId": self.id}
            self.introduced = True
            self.router.introductions += 1
        elif method == "echo":
            assert request["sourceClientId"] == self.id, request
            answer["result"] = request["params"]
        elif method == "refuse":
            answer.update(resultType="error", error="not today")
        else:
            return
        manners = self.router.manners
        if manners.reorder and method != "initialize":
            if manners.held is None:
                manners.held = answer
                return
            self.send(answer)
            answer, manners.held, manners.reorder = manners.held, None, False
        self.send(answer)
        if method == "initialize" and manners.farewell:
            self.close()

    def send(self, frame):
        payload = json.dumps(frame).encode()
        self.send_raw(struct.pack("<I", len(payload)) + payload)

    def send_raw(self, data):
        manners = self.router.manners
        if manners.lag:
            time.sleep(manners.lag)
        cut = manners.truncate and self.introduced
        if cut:
            manners.truncate = False
            data = data[: len(data) // 2]
        with self.sending:
            step = manners.split or len(data)
            for begin in range(0, len(data), step):
                self.connection.sendall(data[begin : begin + step])
        if cut:
            self.close()

    def close(self):
        try:
            self.connection.shutdown(socket.SHUT_RDWR)
        except OSError:
            pass


class Router:
    def __init__(self, path):
        self.path = path
        self.manners = Manners()
        self.clients = []
        self.number = 0
        self.introductions = 0
        self.heard = {}
        self.lock = threading.Lock()
        self.listener = None
        self.listen()

    def listen(self):
        os.makedirs(os.path.dirname(self.path), exist_ok=True)
        if os.path.exists(self.path):
            os.unlink(self.path)
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(self.path)
        self.listener.listen(64)
        threading.Thread(target=self.accept, args=(self.listener,), daemon=True).start()

    def accept(self, listener):
        while True:
            try:
                connection, _ = listener.accept()
            except OSError:
                return
            with self.lock:
                self.number += 1
                self.clients.append(Client(self, connection, self.number))

    def leave(self):
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        os.unlink(self.path)

    def all(self):
        with self.lock:
            return list(self.clients)

    def forget(self, client):
        with self.lock:
            if client in self.clients:
                self.clients.remove(client)
        client.connection.close()

    def forward(self, source, frame):
        self.heard[frame["method"]] = self.heard.get(frame["method"], 0) + 1
        targets = frame.get("targetClientIds")
        for client in self.all():
            if client is not source and client.introduced and (targets is None or client.id in targets):
                client.send(frame)

    def flood(self, count):
        for client in self.all():
            for number in range(count):
                client.send({"type": "broadcast", "method": "flood", "version": 1, "params": number})

    def obey(self, command, *words):
        manners = self.manners
        if command == "lag":
            manners.lag = float(words[0])
        elif command == "split":
            manners.split = int(words[0])
        elif command in ("reorder", "truncate"):
            setattr(manners, command, True)
        elif command == "farewell":
            manners.farewell = words[0] == "on"
        elif command == "deaf":
            manners.hearing.clear()
        elif command == "hear":
            manners.hearing.set()
        elif command == "raw":
            for client in self.all():
                client.send_raw(bytes.fromhex(words[0]))
        elif command == "flood":
            self.flood(int(words[0]))
        elif command == "close":
            for client in self.all():
                client.close()
        elif command == "leave":
            self.leave()
        elif command == "return":
            self.listen()
        elif command == "clients":
            return len(self.all())
        elif command == "introductions":
            return self.introductions
        elif command == "heard":
            return self.heard.get(words[0], 0)
        else:
            return "what?"
        return "ok"


def main():
    router = Router(sys.argv[1])
    print("listening", flush=True)
    for line in sys.stdin:
        print(router.obey(*line.split()), flush=True)


main()
