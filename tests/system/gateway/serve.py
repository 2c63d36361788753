"""Runs in the second of two gateways: executes the first one's commands, one JSON line each way."""

import json
import socketserver
import subprocess


class Requests(socketserver.StreamRequestHandler):
    def handle(self):
        for line in self.rfile:
            request = json.loads(line)
            # The server runs in the namespace of the control cable; the commands run in the gateway's own.
            command = ["nsenter", "--target", "1", "--net", *request["command"]]
            result = subprocess.run(
                command, input=request["stdin"], capture_output=True, text=True, check=False
            )
            answer = {"status": result.returncode, "stdout": result.stdout, "stderr": result.stderr}
            self.wfile.write(json.dumps(answer).encode() + b"\n")


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True


with Server(("198.18.0.2", 7000), Requests) as server:
    server.serve_forever()
