"""Plants what the checks of the tool server's rows have to find."""

import signal
import time

from group_j import doors, replied
from group_j_load import tests_of
from tool_server import INITIALIZE, Answer, ToolServer


def answered(status, body):
    return Answer(status, {}, body, 0)


def plants(stage):
    """Each planted fault with what its check says."""
    error = b'{"jsonrpc":"2.0","id":1,"error":{"code":-32602,"message":"x"}}'
    result = b'{"jsonrpc":"2.0","id":1,"result":{"isError":true}}'
    for name, answer, expected, id in (
            ("another status", answered(400, error), -32602, 1), ("another code", answered(200, error), -32601, 1),
            ("another ID", answered(200, error), -32602, 2), ("true for the ID 1", answered(200, error), -32602, True),
            ("a failure for a result", answered(200, error), "result", 1),
            ("a tool's failure for a result", answered(200, result), "result", 1),
            ("a result for a failure", answered(200, result), -32602, 1), ("no answer", answered(0, b""), "result", 1),
            ("no JSON", answered(200, b"<html>"), "result", 1),
            ("an answer to a notification", answered(202, b"x"), "nothing", None)):
        yield f"{name}, from the tool server", replied(answer, expected, id)
    yield "a test of others' clients that fails", tests_of(
        "▶ group\n  ✔ good (1.5ms)\n  ✖ bad (2.1ms)\n✖ group (4ms)\nℹ tests 2\n  ✖ again (1ms)\n")[1]

    server = ToolServer(stage.programs)
    tally, stage.tally = stage.tally, type(stage.tally)()
    doors(stage, server, [("an ordinary client", {}, False)])
    found, stage.tally = stage.tally.failures, tally
    yield "a stranger that comes in", found
    descriptors = server.descriptors()
    with server.connect() as connection:
        connection.sendall(server.request(INITIALIZE)[:-1])
        until = time.monotonic() + 10
        while server.descriptors() <= descriptors and time.monotonic() < until:
            time.sleep(0.01)  # until it has taken the connection
        left = server.settles(descriptors, 0.3)
        yield "a connection that is left", ["left"] if left > descriptors else []
    server.running.send(signal.SIGSTOP)
    yield "a tool server that stands still", server.serves(within=0.3)
    server.running.send(signal.SIGKILL)
    server.running.process.wait()
    yield "a tool server that is gone", server.serves()

    killed = ToolServer(stage.programs)
    killed.running.send(signal.SIGKILL)
    killed.running.process.wait()
    yield "a tool server that ended by itself", killed.close()

    talking = ToolServer(stage.programs)
    stage.programs.secrets.append("127.0.0.1")
    yield "a tool server that says a secret", talking.close()
    stage.programs.secrets.pop()
    stage.programs.said.clear()
