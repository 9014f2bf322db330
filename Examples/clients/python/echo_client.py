#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""A client: has the service "echo" repeat a text, and shows what the service "clock" publishes,
COUNT times.

    echo_client.py TEXT [COUNT]

Exit status: 0 done, 1 failed, 2 usage, 3 no daemon or no bus.

All that it knows of the daemon stands in Docs/wire.md. The D-Bus library is jeepney
(python3-jeepney), which is plain Python.
"""

import json
import os
import sys

from jeepney import (
    DBusAddress,
    DBusErrorResponse,
    HeaderFields,
    MatchRule,
    MessageType,
    message_bus,
    new_method_call,
)
from jeepney.bus_messages import DBusNameFlags
from jeepney.io.blocking import Proxy, open_dbus_connection

DAEMON = "marrow.ser.server.MessageRouter"
INTERFACE = "quill.Endpoint1"
ENDPOINT = DBusAddress("/quill/endpoint", bus_name=DAEMON, interface=INTERFACE)
SIGNAL = "marrow_ser_server_MRSignal__"
CALL_LIMIT = 25  # seconds; the bus has none of its own

# What the bus says where nobody has the daemon's name.
NO_DAEMON = (
    "org.freedesktop.DBus.Error.ServiceUnknown",
    "org.freedesktop.DBus.Error.NameHasNoOwner",
)


class Failure(Exception):
    """Ends the program, with this exit status."""

    def __init__(self, text, status=1):
        super().__init__(text)
        self.status = status


def connect():
    """Goes on the bus under the name by which the daemon knows clients."""
    try:
        connection = open_dbus_connection(bus="SYSTEM")
        name = f"marrow.ser.client.PID_{os.getpid()}"
        Proxy(message_bus, connection).RequestName(name, DBusNameFlags.do_not_queue)
        return connection
    except OSError as error:
        raise Failure(f"there is no message bus: {error}", 3) from error


def call(connection, service, arguments):
    """The service's reply: any JSON value. It is the service's own affair what stands in it."""
    message = new_method_call(ENDPOINT, "Call", "ss", (service, json.dumps(arguments)))
    try:
        reply = connection.send_and_get_reply(message, timeout=CALL_LIMIT)
    except TimeoutError as error:
        raise Failure(f"no answer from {service} within {CALL_LIMIT} s") from error
    if reply.header.message_type == MessageType.error:
        name = reply.header.fields[HeaderFields.error_name]
        if name in NO_DAEMON:
            raise Failure("hearthd isn't on the bus", 3)
        raise Failure(f"the call to {service} failed: {name}: {' '.join(map(str, reply.body))}")
    _, payload = reply.body
    value = json.loads(payload) if payload else None
    if value == {"return_error": "Delivery failed"}:
        raise Failure(f"the call to {service} wasn't delivered")
    return value


def echo(connection, text):
    reply = call(connection, "echo", {"text": text})
    if not isinstance(reply, dict) or not isinstance(reply.get("text"), str):
        raise Failure(f"echo answers otherwise than expected: {json.dumps(reply)}")
    print(reply["text"], flush=True)


def show_clock(connection, count):
    rule = MatchRule(type="signal", sender=DAEMON, interface=INTERFACE)
    rule.add_arg_condition(0, SIGNAL + "clock")
    # The bus brings only what it was asked for, and names the daemon by its unique name then.
    mine = MatchRule(type="signal", interface=INTERFACE)
    mine.add_arg_condition(0, SIGNAL + "clock")
    with connection.filter(mine) as notifications:
        Proxy(message_bus, connection).AddMatch(rule)
        for _ in range(count):
            _, _, payload = connection.recv_until_filtered(notifications).body
            print(f"clock: {json.loads(payload)['seconds']}", flush=True)


def main(words):
    if len(words) not in (2, 3) or not all(count.isdecimal() for count in words[2:]):
        print("usage: echo_client.py TEXT [COUNT]", file=sys.stderr)
        return 2
    try:
        with connect() as connection:
            echo(connection, words[1])
            if len(words) == 3:
                show_clock(connection, int(words[2]))
    except Failure as failure:
        print(f"echo_client.py: {failure}", file=sys.stderr)
        return failure.status
    except DBusErrorResponse as error:  # the bus refuses the name or the rule
        print(f"echo_client.py: {error}", file=sys.stderr)
        return 1
    except ConnectionError as error:
        print(f"echo_client.py: the bus has gone away: {error}", file=sys.stderr)
        return 3
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
