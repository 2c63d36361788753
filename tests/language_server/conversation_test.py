#!/usr/bin/env python3
"""Communicates with `lanfab lsp` like an editor. The program is the first argument."""

import json
import os
import subprocess
import sys
import unittest

from lib.limits import processor_limit

LANFAB = os.path.abspath(sys.argv.pop(1))
URI = "file:///etc/lanfab/network.json"
# A part of a configuration that makes the gateway reachable, so that there is no finding about that.
UPLINK = '"wireless": {"cell": {"enable": true}}'


class Server:
    """A running language server, and the messages to and from it."""

    def __init__(self):
        self.process = subprocess.Popen([*processor_limit(60), LANFAB, "lsp"], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE)
        self.last_id = 0

    def send_bytes(self, body):
        self.process.stdin.write(b"Content-Length: %d\r\n\r\n%s" % (len(body), body))
        self.process.stdin.flush()

    def send(self, message):
        self.send_bytes(json.dumps({"jsonrpc": "2.0", **message}).encode())

    def receive(self):
        header = self.process.stdout.readline()
        self.process.stdout.readline()
        return json.loads(self.process.stdout.read(int(header.partition(b":")[2])))

    def notify(self, method, **parameters):
        self.send({"method": method, "params": parameters})

    def ask(self, method, **parameters):
        """Sends a request; returns the response."""
        self.last_id += 1
        self.send({"id": self.last_id, "method": method, "params": parameters})
        response = self.receive()
        assert response["id"] == self.last_id, response
        return response

    def result(self, method, **parameters):
        return self.ask(method, **parameters)["result"]

    def open(self, text):
        """Opens a document; returns its diagnostics."""
        self.notify("textDocument/didOpen", textDocument={"uri": URI, "version": 1, "text": text})
        return self.receive()["params"]["diagnostics"]

    def change(self, text):
        self.notify("textDocument/didChange", textDocument={"uri": URI, "version": 2},
                    contentChanges=[{"text": text}])
        return self.receive()["params"]["diagnostics"]

    def at(self, method, line, character):
        return self.result(f"textDocument/{method}", textDocument={"uri": URI},
                           position={"line": line, "character": character})

    def end(self):
        """Closes the input; returns the exit status."""
        self.process.stdin.close()
        self.process.stdout.close()
        return self.process.wait()


def span(line, begin, end):
    return {"start": {"line": line, "character": begin}, "end": {"line": line, "character": end}}


class Conversation(unittest.TestCase):
    def setUp(self):
        self.server = Server()
        self.addCleanup(self.server.end)
        self.capabilities = self.server.result("initialize", processId=None, rootUri=None, capabilities={})
        self.server.notify("initialized")

    def test_it_says_what_it_can_do(self):
        self.assertEqual(self.capabilities, {
            "capabilities": {
                "textDocumentSync": 1, "hoverProvider": True,
                "completionProvider": {"triggerCharacters": ["\""]},
                "codeActionProvider": {"codeActionKinds": ["quickfix"]}},
            "serverInfo": {"name": "lanfab"}})

    def test_findings_follow_the_text(self):
        [finding] = self.server.open('{\n  "wierd": {},\n' + UPLINK + "}\n")
        self.assertEqual(finding, {
            "range": span(1, 2, 9), "severity": 2, "code": "doubtful-key", "source": "lanfab",
            "message": '"wierd": did you mean "wired"?'})
        # The related location is that of the first of the two equal keys.
        [twice] = self.server.change('{"dns": {},\n "dns": {}}')
        [related] = twice["relatedInformation"]
        self.assertEqual(related["location"], {"uri": URI, "range": span(0, 1, 6)})
        [error] = self.server.change('{\n  "wired": \n}\n')
        self.assertEqual((error["code"], error["severity"]), ("syntax", 1))
        self.assertEqual(error["range"], span(1, 2, 9))

    def test_a_certain_fix_is_a_quick_fix_of_its_line(self):
        [finding] = self.server.open('{"wireless": {"cell": {\n"enabel": true\n}}}')
        request = {"textDocument": {"uri": URI}, "context": {"diagnostics": [finding]}}
        [action] = self.server.result("textDocument/codeAction", range=span(1, 4, 4), **request)
        self.assertEqual(action, {
            "title": 'Replace with "enable"', "kind": "quickfix", "isPreferred": True,
            "diagnostics": [finding],
            "edit": {"changes": {URI: [{"range": span(1, 0, 8), "newText": '"enable"'}]}}})
        self.assertEqual(self.server.result("textDocument/codeAction", range=span(0, 0, 4), **request), [])

    def test_a_closed_document_has_no_findings(self):
        self.assertTrue(self.server.open('{"wierd": {}}'))
        self.server.notify("textDocument/didClose", textDocument={"uri": URI})
        self.assertEqual(self.server.receive()["params"], {"uri": URI, "diagnostics": []})

    def test_characters_count_as_utf16(self):
        [finding] = self.server.open('{"hostnames": [], "😀é": 0, "wierd": {},\n' + UPLINK + "}")
        self.assertEqual(finding["range"], span(0, 28, 35))

    def test_hover_shows_the_schema(self):
        self.server.open('{"wired": {"eth0": {"enable": true}}}')
        hover = self.server.at("hover", 0, 23)
        self.assertEqual(hover["contents"], {
            "kind": "markdown",
            "value": "*boolean, default false*\n\nEnables the port; a disabled port is set down."})
        self.assertEqual(hover["range"], span(0, 20, 28))
        # There is no hover text outside keys and values.
        self.assertIsNone(self.server.at("hover", 0, 0))

    def test_keys_that_the_object_lacks_are_completed(self):
        self.server.open('{"wired": {"eth0": {"en\n"network": {}}}}')
        [item] = self.server.at("completion", 0, 23)
        self.assertEqual((item["label"], item["detail"], item["textEdit"]),
                         ("enable", "boolean, default false",
                          {"range": span(0, 21, 23), "newText": 'enable": '}))

    def test_values_are_completed(self):
        self.server.open('{"wired": {"eth0": {"enable": }}}')
        self.assertEqual([item["label"] for item in self.server.at("completion", 0, 30)], ["true", "false"])

    def test_a_document_that_is_not_open_has_nothing(self):
        self.assertIsNone(self.server.at("hover", 0, 0))

    def test_unknown_requests_are_errors_and_unknown_notifications_are_not(self):
        self.server.notify("$/setTrace", value="off")
        self.assertEqual(self.server.ask("workspace/symbol")["error"]["code"], -32601)

    def test_what_is_no_json_is_an_error(self):
        for body in b"{", b"[" * 5000:
            self.server.send_bytes(body)
            self.assertEqual(self.server.receive()["error"]["code"], -32700)

    def test_messages_of_another_shape_are_passed_over(self):
        for message in (7, [], {}, {"method": 7}, {"id": 1},
                        {"method": "textDocument/didChange", "params": 7},
                        {"method": "textDocument/didOpen", "params": {"textDocument": []}}):
            self.server.send_bytes(json.dumps(message).encode())
        # A document without a text is empty.
        self.assertEqual(self.server.receive()["params"]["diagnostics"][0]["code"], "syntax")
        self.assertIsNone(self.server.result("shutdown"))

    def test_the_exit_status_tells_whether_it_ended_in_order(self):
        self.server.result("shutdown")
        self.server.notify("exit")
        self.assertEqual(self.server.end(), 0)

    def test_an_exit_without_a_shutdown_and_the_end_of_the_input_fail(self):
        self.server.notify("exit")
        self.assertEqual(self.server.end(), 1)
        self.assertEqual(Server().end(), 1)


class Beginning(unittest.TestCase):
    def test_nothing_is_answered_before_initialize(self):
        server = Server()
        self.assertEqual(server.ask("shutdown")["error"]["code"], -32002)
        server.end()

    def test_a_header_without_a_usable_length_ends_it(self):
        for length in "0", "-1", "99999999999", "x":
            server = Server()
            server.process.stdin.write(f"Content-Length: {length}\r\n\r\n{{}}".encode())
            self.assertEqual(server.end(), 1)


if __name__ == "__main__":
    unittest.main()
