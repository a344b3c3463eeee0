"""Group J: the tool server and what strangers send it."""

from campaign import row
from group_j_cases import (FOREIGN_HOSTS, FOREIGN_ORIGINS, LOCAL_HOSTS, LOCAL_ORIGINS, NOTHING, RESULT, lengths,
                           messages)
from tool_server import CALL, with_school


def replied(answer, expected, id):
    """Whether an answer to a message is what it should be: NOTHING, RESULT, "tool error", or the code of an error."""
    if expected == NOTHING:
        return [] if answer.status == 202 and not answer.body else [f"not silence but {answer.text()}"]
    message = answer.message()
    if not isinstance(message, dict) or message.get("jsonrpc") != "2.0":
        return [f"no JSON-RPC but {answer.text()}"]
    status = 400 if expected in (-32700, -32600) else 200
    problems = [] if answer.status == status else [f"status {answer.status}, not {status}"]
    if message.get("id") != id or isinstance(message.get("id"), bool) != isinstance(id, bool):
        problems.append(f"it answers {str(message.get('id'))[:40]}, not {str(id)[:40]}")
    if expected == RESULT:
        good = "result" in message and not message["result"].get("isError")
    elif expected == "tool error":
        good = message.get("result", {}).get("isError") is True
    else:
        good = message.get("error", {}).get("code") == expected and message["error"].get("message")
    return problems + ([] if good else [f"not {expected} but {answer.text()}"])


@row("J1", "Malformed and odd requests")
def malformed(stage):
    server = with_school(stage)
    slowest = 0.0
    for name, body, expected, id in messages():
        answer = server.post(body)
        slowest = max(slowest, answer.seconds)
        stage.tally.add(name, replied(answer, expected, id) + server.serves())
    for name, options, status in (
            ("GET", {"method": "GET"}, 405), ("DELETE", {"method": "DELETE"}, 405), ("post", {"method": "post"}, 405),
            ("another path", {"path": "/"}, 404), ("a path above", {"path": "/mcp/../mcp"}, 404),
            ("an encoded path", {"path": "/%6dcp"}, 404), ("a whole URL", {"path": "http://127.0.0.1/mcp"}, 404),
            ("a query", {"path": "/mcp?x=/"}, 200), ("no token", {"token": False}, 401),
            ("half a token", {"token": False, "more": [f"Authorization: Bearer {server.token[:-1]}"]}, 401),
            ("a token too long", {"token": False, "more": [f"Authorization: Bearer {server.token}0"]}, 401),
            ("the token in capitals", {"token": False, "more": [f"Authorization: Bearer {server.token.upper()}"]}, 401),
            ("another scheme", {"token": False, "more": [f"Authorization: Basic {server.token}"]}, 401),
            ("a bare token", {"token": False, "more": [f"Authorization: {server.token}"]}, 401),
            ("no protocol version", {"more": ["MCP-Protocol-Version: latest"]}, 400),
            ("an empty protocol version", {"more": ["MCP-Protocol-Version:"]}, 400),
            ("a future protocol version", {"more": ["MCP-Protocol-Version: 2099-01-01"]}, 200)):
        answer = server.post(CALL, **options)
        problems = [] if answer.status == status else [f"not {status} but {answer.text()}"]
        stage.tally.add(name, problems + server.serves())
    stage.tally.worst = f"{slowest * 1000:.0f} ms for an answer"


def doors(stage, server, cases):
    """Each case is a name, what the request has, and whether it may come in."""
    let_in = 0
    for name, options, welcome in cases:
        answer = server.post(CALL, **options)
        expected = 200 if welcome else 403
        problems = [] if answer.status == expected else [f"not {expected} but {answer.text()}"]
        if not welcome and answer.body:
            let_in += 1
            problems.append("a stranger is told something")
        stage.tally.add(name, problems)
    stage.tally.add("an ordinary client afterwards", server.serves())
    stage.tally.worst = f"{let_in} strangers let in"


@row("J2", "Origins of web pages, foreign, null and disguised")
def origins(stage):
    server = with_school(stage)
    cases = [(f"Origin: {each[:60]}", {"more": [f"Origin: {each}"]}, True) for each in LOCAL_ORIGINS]
    cases += [(f"Origin: {each[:60]}", {"more": [f"{name}: {each}"]}, False)
              for each in FOREIGN_ORIGINS for name in ("Origin", "oRIGIN")]
    doors(stage, server, cases)


@row("J3", "Names of other machines that lead to this one")
def hosts(stage):
    server = with_school(stage)
    cases = [(f"Host: {each}", {"host": each}, True) for each in LOCAL_HOSTS]
    cases += [(f"Host: {each[:60]}", {"host": each}, False) for each in FOREIGN_HOSTS]
    # A page of such a name has an origin that is its own too, and no token.
    cases += [("with its own origin", {"host": "evil.example:8765", "more": ["Origin: http://evil.example:8765"]}, False),
              ("with a local origin", {"host": "evil.example:8765", "more": ["Origin: http://localhost"]}, False),
              ("without the token", {"host": "evil.example:8765", "token": False}, False)]
    doors(stage, server, cases)


@row("J4", "Lengths that are none, bodies in chunks, bytes behind the body, requests in pieces")
def bodies(stage):
    server = with_school(stage)
    for name, lines, content, status in lengths(CALL):
        answer = server.exchange(server.head(more=lines) + content, half_close=status == 0)
        problems = [] if answer.status == status else [f"not {status} but {answer.text()}"]
        if answer.status == 200 and "result" not in (answer.message() or {}):
            problems.append(f"no reply but {answer.text()}")
        stage.tally.add(name, problems + server.serves())
    request = server.request(CALL)
    for place in stage.points(len(request) - 1, 40):
        answer = server.exchange(request[:place], request[place:])
        stage.tally.add(f"in two pieces, cut at {place}", [] if answer.status == 200 else [answer.text()])
    answer = server.exchange(*(bytes([each]) for each in request))
    stage.tally.add("byte by byte", [] if answer.status == 200 else [answer.text()])
    for place in stage.points(len(request) - 1, 20):
        answer = server.exchange(request[:place], half_close=True)
        problems = [] if answer.status == 0 and not answer.body else [f"half a request is answered: {answer.text()}"]
        stage.tally.add(f"ended after {place} bytes", problems + server.serves())
