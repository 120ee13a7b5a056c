"""The flat functions of VekApi for Python 3.8 and later, through ctypes: copy the directory, no build needed.

    import vekapi
    vekapi.load("build/linux/libvekapi.so")

    class Products(vekapi.Handler):
        def on_connect(self, client, reason):
            print("state", client.state, reason)

        def on_ready(self, client):
            client.send(128, "w1 products")

        def on_task_result(self, client, result):
            print(result.plain())
            client.disconnect()

    with vekapi.Client(Products()) as client:
        client.connect("127.0.0.1:9000", "app", "1.0.0.0", "trader", "", "secret")
        client.wait()

Events run on the library's threads, never two of one client at once. Inside an event any function may be called on
the client, including close(). An exception in an event is printed and dropped; sys.exit() ends the client's wait().
A slow event delays its own client only.

With Client(handler, on_message_loop=True) events run on the creating thread instead, while that thread runs
its Windows message loop or calls dispatch() or wait(). With asyncio on Linux:

    loop.add_reader(vekapi.message_loop_fd(), vekapi.dispatch)

The server's texts are bytes in code page 950; here they are str (U+FFFD marks invalid bytes). A result holds tables by name,
a table is a sequence of records, and a record maps column names to values:

    result["orders"][0]["Price"]
    [(row["Prod"], row.decimal("Price")) for row in result["orders"]]
    result["orders"].to_dicts(decimals=["Price"])

The result passed to an event of a Client is borrowed: after the event it raises ReferenceError, except for records that
have been read (Table.tuples(), rows(), to_dicts()). Results of a Session stay valid.

Clients, gates and senders live until close(), even without references to them, and may be closed in any order. Those
still open when the program ends are closed then, without further events except on_destroy.

A Session reconnects by itself and reports the fate of every request; BlockingSession does so without asyncio:

    async with vekapi.Session(["gw1:9000", "gw2:9000"], user="trader", password="secret") as session:
        products = await session.query("products", timeout=3)
        fate = await session.send("new\\nprod=TXF side=B qty=1 price=MKT", hold=0.5)
        print(fate, fate.safe_to_repeat)

The functions of VekApiC.h and VekSessionC.h are in vekapi.lib, their types and constants in this module.
"""

from ._declarations import *  # noqa: F401,F403
from ._declarations import (  # noqa: F401
    cvcs_ApReady as AP_READY,
    cvcs_Connected as CONNECTED,
    cvcs_ConnectError as CONNECT_ERROR,
    cvcs_Connecting as CONNECTING,
    cvcs_Disconnected as DISCONNECTED,
    cvcs_HeartbeatTimeout as HEARTBEAT_TIMEOUT,
    cvcs_LinkBroken as LINK_BROKEN,
    cvcs_LinkError as LINK_ERROR,
    cvcs_None as NONE,
    cvcs_SgnError as SGN_ERROR,
    cvcs_UnknownServer as UNKNOWN_SERVER,
)
from ._enums import EventKind, FateKind, Reason, State  # noqa: F401
from ._fates import Event, Fate, NotAnswered, Result, SessionError, words  # noqa: F401
from ._client import Client, Handler  # noqa: F401
from ._library import dispatch, lib, load, message_loop_fd  # noqa: F401
from ._pacing import Gate, Sender  # noqa: F401
from ._results import Block, Properties, Row, Table, TaskResult  # noqa: F401
from ._session import BlockingSession, Session  # noqa: F401
from ._text import encode, text  # noqa: F401
