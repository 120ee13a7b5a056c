"""Sessions, clients and results of VekApi for Python 3.8 and later, without other packages.

    import vekapi

    with vekapi.BlockingSession("127.0.0.1:9000", user="trader", password="secret") as session:
        for product in session.query("products", timeout=3)["products"]:
            print(product["Prod"], product.decimal("Margin"))
        fate = session.send("new\\nprod=TXF side=B qty=1 price=MKT", timeout=10)
        print(fate, fate.safe_to_repeat)

The wheel contains the library. Otherwise call vekapi.load("build/linux/libvekapi.so") first.

A session reconnects by itself and reports the fate of every request. For asyncio there is Session:

    async with vekapi.Session(["gw1:9000", "gw2:9000"], user="trader", password="secret") as it:
        products = await it.query("products", timeout=3)
        fate = await it.send("new\\nprod=TXF side=B qty=1 price=MKT", hold=0.5)

A Client is a single connection, with a function for each event:

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

The functions of VekApiC.h and VekSessionC.h are in vekapi.lib, their types and constants in this module.
"""

from ._declarations import *  # noqa: F401,F403
from . import _declarations as _d
# Named twice: for type checkers that makes them part of the package.
from ._client import (
    Client as Client,
    Handler as Handler,
)
from ._enums import (
    EventKind as EventKind,
    FateKind as FateKind,
    Reason as Reason,
    State as State,
)
from ._fates import (
    Event as Event,
    Fate as Fate,
    NotAnswered as NotAnswered,
    Result as Result,
    SessionError as SessionError,
    words as words,
)
from ._library import (
    dispatch as dispatch,
    lib as lib,
    load as load,
    message_loop_fd as message_loop_fd,
)
from ._pacing import (
    Gate as Gate,
    Sender as Sender,
)
from ._results import (
    Block as Block,
    Properties as Properties,
    Row as Row,
    Table as Table,
    TaskResult as TaskResult,
)
from ._session import (
    BlockingSession as BlockingSession,
    Session as Session,
)
from ._text import (
    encode as encode,
    text as text,
)

AP_READY = _d.cvcs_ApReady
CONNECTED = _d.cvcs_Connected
CONNECT_ERROR = _d.cvcs_ConnectError
CONNECTING = _d.cvcs_Connecting
DISCONNECTED = _d.cvcs_Disconnected
HEARTBEAT_TIMEOUT = _d.cvcs_HeartbeatTimeout
LINK_BROKEN = _d.cvcs_LinkBroken
LINK_ERROR = _d.cvcs_LinkError
NONE = _d.cvcs_None
SGN_ERROR = _d.cvcs_SgnError
UNKNOWN_SERVER = _d.cvcs_UnknownServer
