"""The flat functions of VekApi for Python 3.8 and later, through ctypes: nothing to build, one file to copy.

    import vekapi
    vekapi.load("build/linux/libvekapi.so")

    class Handler(vekapi.Handler):
        def on_connect(self, client, reason): ...
        def on_task_result(self, client, result): ...

    with vekapi.Client(Handler()) as client:
        client.connect("127.0.0.1:9000", "app", "1.0.0.0", "trader", "", "secret")

Events come on threads of the library, never two of one client at once. Inside one, everything may be called on
the client, close() too. An exception in one is printed and dropped. A slow one delays its own client only.

Client(handler, on_message_loop=True) brings them on the thread that made the client instead, while that thread runs
its Windows message loop or calls dispatch(). With asyncio on Linux:

    loop.add_reader(vekapi.message_loop_fd(), vekapi.dispatch)

Texts of the server are bytes in code page 950; here they are str, decoded with cp950 ("?" marks what is not).
Results, tables and columns that an event brings are lent until it returns: take what is to be kept with
Table.rows() or TaskResult.plain().

ctypes frees a callback when Python loses sight of it. A Client therefore keeps its callbacks, and this module
keeps every Client, until close().
"""

import ctypes
import sys
from ctypes import CFUNCTYPE, POINTER, Structure, byref, c_bool, c_char_p, c_int, c_uint, c_void_p

HEARTBEAT_TIMEOUT, CONNECT_ERROR, SGN_ERROR, UNKNOWN_SERVER = -7, -6, -5, -4
LINK_BROKEN, LINK_ERROR, DISCONNECTED, NONE = -3, -2, -1, 0
CONNECTING, CONNECTED, AP_READY = 1, 2, 3


class _Handle(Structure):
    _fields_ = [("object", c_void_p)]

    def __bool__(self):
        return bool(self.object)


class CVekClient(_Handle): pass
class CVekFlowCtrl(_Handle): pass
class CVekFlowCtrlSender(_Handle): pass
class CVekProperties(_Handle): pass
class CVekField(_Handle): pass
class CVekFields(_Handle): pass
class CVekTable(_Handle): pass
class CVekTaskResult(_Handle): pass


_client, _user = POINTER(CVekClient), c_void_p


class CVekClientCallbacks(Structure):
    # The unknown packet may hold NULs, so it comes as an address.
    _fields_ = [
        ("OnVekUnknownMsgCodeEvent", CFUNCTYPE(None, _client, _user, c_int, c_void_p, c_int)),
        ("OnVekConnectEvent", CFUNCTYPE(None, _client, _user, c_char_p)),
        ("OnVekApReadyEvent", CFUNCTYPE(None, _client, _user)),
        ("OnVekTaskResultEvent", CFUNCTYPE(None, _client, _user, POINTER(CVekTaskResult))),
        ("OnVekChgPassResultEvent", CFUNCTYPE(None, _client, _user, c_char_p, c_char_p)),
        ("OnVekRequestAckEvent", CFUNCTYPE(None, _client, _user, c_int, c_char_p)),
        ("OnVekReportEvent", CFUNCTYPE(None, _client, _user, c_char_p)),
        ("OnVekClientDestroyEvent", CFUNCTYPE(None, _client, _user)),
    ]


class CVekFlowCtrlCallbacks(Structure):
    _fields_ = [("OnVekFlowCtrlFree", CFUNCTYPE(None, POINTER(CVekFlowCtrl), _user))]


_gate, _sender = POINTER(CVekFlowCtrl), POINTER(CVekFlowCtrlSender)
_properties, _field, _fields = POINTER(CVekProperties), POINTER(CVekField), POINTER(CVekFields)
_table, _result = POINTER(CVekTable), POINTER(CVekTaskResult)
_bstr = c_void_p  # freed by its address; c_char_p would lose it

# name: result, arguments
_PROTOTYPES = {
    "CVekApi_Version": (c_char_p, []),
    "CstrToBSTR": (_bstr, [c_char_p]),
    "CVekApi_FreeBSTR": (None, [_bstr]),
    "CVekProperties_Get": (c_char_p, [_properties, c_char_p]),
    "CVekProperties_Get_B": (_bstr, [_properties, c_char_p]),
    "CVekProperties_Name": (c_char_p, [_properties]),
    "CVekProperties_Name_B": (_bstr, [_properties]),
    "CVekProperties_DisplayText": (c_char_p, [_properties]),
    "CVekProperties_DisplayText_B": (_bstr, [_properties]),
    "CVekProperties_Description": (c_char_p, [_properties]),
    "CVekProperties_Description_B": (_bstr, [_properties]),
    "CVekProperties_ToString": (c_char_p, [_properties]),
    "CVekProperties_ToString_B": (_bstr, [_properties]),
    "CVekField_Properties": (CVekProperties, [_field]),
    "CVekField_Index": (c_int, [_field]),
    "CVekFields_NameField": (CVekField, [_fields, c_char_p]),
    "CVekFields_IndexField": (CVekField, [_fields, c_int]),
    "CVekFields_Count": (c_int, [_fields]),
    "CVekTable_Properties": (CVekProperties, [_table]),
    "CVekTable_Fields": (CVekFields, [_table]),
    "CVekTable_RecordsCount": (c_int, [_table]),
    "CVekTable_RecordIndexField": (c_char_p, [_table, c_int, c_int]),
    "CVekTable_RecordIndexField_B": (_bstr, [_table, c_int, c_int]),
    "CVekTable_RecordField": (c_char_p, [_table, c_int, _field]),
    "CVekTable_RecordField_B": (_bstr, [_table, c_int, _field]),
    "CVekTable_MktFlag": (c_int, [_table]),
    "CVekTaskResult_WorkID": (c_char_p, [_result]),
    "CVekTaskResult_WorkID_B": (_bstr, [_result]),
    "CVekTaskResult_OrigResult": (c_char_p, [_result]),
    "CVekTaskResult_OrigResult_B": (_bstr, [_result]),
    "CVekTaskResult_NameTable": (CVekTable, [_result, c_char_p]),
    "CVekTaskResult_IndexTable": (CVekTable, [_result, c_uint]),
    "CVekTaskResult_TableCount": (c_uint, [_result]),
    "CVekClient_Create": (CVekClient, [POINTER(CVekClientCallbacks), _user]),
    "CVekClient_Create_OnMessageLoop": (CVekClient, [POINTER(CVekClientCallbacks), _user]),
    "CVekClient_Delete": (None, [_client]),
    "CVekClient_State": (c_int, [_client]),
    "CVekClient_IsSessionConnected": (c_bool, [_client]),
    "CVekClient_Connect": (c_bool, [_client] + [c_char_p] * 6),
    "CVekClient_Disconnect": (None, [_client]),
    "CVekClient_SgnResult": (CVekTaskResult, [_client]),
    "CVekClient_ChgPass": (c_bool, [_client, c_char_p, c_char_p, c_char_p]),
    "CVekClient_EncPacket": (None, [_client, c_char_p, c_int]),
    "CVekClient_SendPk": (c_bool, [_client, c_char_p, c_int]),
    "CVekClient_SendVekRequest": (c_bool, [_client, c_int, c_char_p, c_uint]),
    "CVekFlowCtrl_Create": (CVekFlowCtrl, [POINTER(CVekFlowCtrlCallbacks), _user]),
    "CVekFlowCtrl_Delete": (None, [_gate]),
    "CVekFlowCtrl_IsFlowCfg": (c_bool, [_gate]),
    "CVekFlowCtrl_Clear": (None, [_gate]),
    "CVekFlowCtrl_SetFlowCtrl": (None, [_gate, c_int, c_int]),
    "CVekFlowCtrl_SetAckTime": (None, [_gate, c_uint]),
    "CVekFlowCtrl_CheckFlowCtrl": (c_int, [_gate]),
    "CVekFlowCtrl_Sleep": (None, [c_uint]),
    "CVekFlowCtrl_StartCheckTimer": (None, [_gate]),
    "CVekFlowCtrl_Lock": (None, [_gate]),
    "CVekFlowCtrl_Unlock": (None, [_gate]),
    "CVekFlowCtrlSender_Create": (CVekFlowCtrlSender, [_client]),
    "CVekFlowCtrlSender_Delete": (None, [_sender]),
    "CVekFlowCtrlSender_SetFlowCtrl": (None, [_sender, c_int, c_int]),
    "CVekFlowCtrlSender_IsFlowCfg": (c_int, [_sender]),
    "CVekFlowCtrlSender_PendingCount": (c_uint, [_sender]),
    "CVekFlowCtrlSender_AckParser": (None, [_sender, c_int, c_char_p]),
    "CVekFlowCtrlSender_SetAckTime": (None, [_sender, c_int, c_uint]),
    "CVekFlowCtrlSender_SendVekRequest": (c_bool, [_sender, c_char_p, c_uint]),
    "CVekFlowCtrlSender_SendVekRequests": (c_uint, [_sender, c_char_p, c_uint]),
    "CVekMessageLoop_Dispatch": (c_int, [c_int]),
    "CVekMessageLoop_Fd": (c_int, []),
}

lib = None  # the functions as they are, after load()


def load(path=None):
    """Loads the library, once; without a path where the system finds libraries."""
    global lib
    if lib is None:
        loaded = ctypes.CDLL(path or ("vekapi.dll" if sys.platform == "win32" else "libvekapi.so.0"))
        for name, (result, arguments) in _PROTOTYPES.items():
            function = getattr(loaded, name)
            function.restype, function.argtypes = result, arguments
        lib = loaded
    return lib


def text(raw):
    """The str of a text of the library; None stays None."""
    return None if raw is None else raw.decode("cp950", "replace")


def dispatch(timeout_ms=0):
    """Runs the events that wait for this thread's clients; the number of messages run, negative on error."""
    return lib.CVekMessageLoop_Dispatch(timeout_ms)


def message_loop_fd():
    """Readable while dispatch() has something to run on this thread; -1 on Windows."""
    return lib.CVekMessageLoop_Fd()


def _bytes(value):
    return value.encode("cp950") if isinstance(value, str) else value


def _request(value):
    """A writable buffer with five bytes for the library in front of the text, and the length of both."""
    raw = _bytes(value)
    return ctypes.create_string_buffer(bytes(5) + raw, 5 + len(raw)), 5 + len(raw)


class Properties:
    """A name and key/value pairs, of a table or a column."""

    def __init__(self, handle):
        self._handle = handle

    def get(self, key):
        return text(lib.CVekProperties_Get(byref(self._handle), _bytes(key)))

    @property
    def name(self):
        return text(lib.CVekProperties_Name(byref(self._handle)))

    @property
    def display_text(self):
        return text(lib.CVekProperties_DisplayText(byref(self._handle)))

    @property
    def description(self):
        return text(lib.CVekProperties_Description(byref(self._handle)))


class Table(Properties):
    """A table with its properties; lent as its result is."""

    def __init__(self, handle):
        super().__init__(lib.CVekTable_Properties(byref(handle)))
        self._table = handle

    def __len__(self):
        return lib.CVekTable_RecordsCount(byref(self._table))

    @property
    def mkt_flag(self):
        return lib.CVekTable_MktFlag(byref(self._table))

    def columns(self):
        """The columns' properties."""
        fields = lib.CVekTable_Fields(byref(self._table))
        for index in range(lib.CVekFields_Count(byref(fields))):
            field = lib.CVekFields_IndexField(byref(fields), index)
            yield Properties(lib.CVekField_Properties(byref(field)))

    def value(self, row, column):
        return text(lib.CVekTable_RecordIndexField(byref(self._table), row, column))

    def rows(self):
        """All records, as dictionaries by the columns' names."""
        names = [column.name for column in self.columns()]
        return [{name: self.value(row, i) for i, name in enumerate(names)} for row in range(len(self))]


class TaskResult:
    """The answer to a request, lent until the event that brought it returns."""

    def __init__(self, handle):
        self._handle = handle

    @property
    def work_id(self):
        return text(lib.CVekTaskResult_WorkID(byref(self._handle)))

    @property
    def raw(self):
        """The server's text as bytes."""
        return lib.CVekTaskResult_OrigResult(byref(self._handle))

    def __len__(self):
        return lib.CVekTaskResult_TableCount(byref(self._handle))

    def __iter__(self):
        return (Table(lib.CVekTaskResult_IndexTable(byref(self._handle), i)) for i in range(len(self)))

    def table(self, name):
        """None when there is no such table."""
        handle = lib.CVekTaskResult_NameTable(byref(self._handle), _bytes(name))
        return Table(handle) if handle else None

    def plain(self):
        """All tables' records by the tables' names, to keep."""
        return {table.name: table.rows() for table in self}


class Handler:
    """What happens to a client. Derive from it and override what is of interest."""

    def on_unknown(self, client, code, packet): pass  # packet: bytes, header included
    def on_connect(self, client, reason): pass
    def on_ready(self, client): pass
    def on_task_result(self, client, result): pass
    def on_password(self, client, user, answer): pass
    def on_ack(self, client, code, raw): pass  # raw: bytes, for Sender.ack
    def on_report(self, client, report): pass
    def on_destroy(self, client): pass


class Client:
    """One session with an order-routing server. Ends with close(), or as a context manager."""

    _alive = set()

    def __init__(self, handler, on_message_loop=False):
        load()
        self._callbacks = self._table(handler)
        create = lib.CVekClient_Create_OnMessageLoop if on_message_loop else lib.CVekClient_Create
        self._handle = create(byref(self._callbacks), None)
        if not self._handle:
            raise MemoryError(f"no {'window or ' if on_message_loop else ''}memory for a client")
        Client._alive.add(self)

    def _table(self, h):
        entries = (
            lambda c, u, code, packet, size: h.on_unknown(self, code, ctypes.string_at(packet, size)),
            lambda c, u, reason: h.on_connect(self, text(reason)),
            lambda c, u: h.on_ready(self),
            lambda c, u, result: h.on_task_result(self, TaskResult(result.contents)),
            lambda c, u, user, answer: h.on_password(self, text(user), text(answer)),
            lambda c, u, code, ack: h.on_ack(self, code, ack),
            lambda c, u, report: h.on_report(self, text(report)),
            lambda c, u: h.on_destroy(self),
        )
        kinds = CVekClientCallbacks._fields_
        return CVekClientCallbacks(*(kind(entry) for (_, kind), entry in zip(kinds, entries)))

    def close(self):
        """Disconnects and frees the client; no event comes afterwards. A second call does nothing."""
        lib.CVekClient_Delete(byref(self._handle))
        Client._alive.discard(self)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    @property
    def state(self):
        return lib.CVekClient_State(byref(self._handle))

    @property
    def connected(self):
        return lib.CVekClient_IsSessionConnected(byref(self._handle))

    def connect(self, setting, app_name, app_version, id1, id2, password):
        texts = (setting, app_name, app_version, id1, id2, password)
        return lib.CVekClient_Connect(byref(self._handle), *map(_bytes, texts))

    def disconnect(self):
        lib.CVekClient_Disconnect(byref(self._handle))

    def sign_on_result(self):
        """To be read in events, or while no sign-on can be under way."""
        return TaskResult(lib.CVekClient_SgnResult(byref(self._handle)))

    def change_password(self, user, old, new):
        return lib.CVekClient_ChgPass(byref(self._handle), _bytes(user), _bytes(old), _bytes(new))

    def send(self, code, request):
        """Code 128: a query; False also when the server's rate is used up."""
        return lib.CVekClient_SendVekRequest(byref(self._handle), code, *_request(request))


class Sender:
    """Sends requests of code 129 no faster than set, and holds the others. Ends before its client."""

    def __init__(self, client):
        self._handle = lib.CVekFlowCtrlSender_Create(byref(client._handle))
        if not self._handle:
            raise MemoryError("CVekFlowCtrlSender_Create")

    def close(self):
        lib.CVekFlowCtrlSender_Delete(byref(self._handle))

    def set_rate(self, count, ms):
        lib.CVekFlowCtrlSender_SetFlowCtrl(byref(self._handle), count, ms)

    @property
    def pending(self):
        return lib.CVekFlowCtrlSender_PendingCount(byref(self._handle))

    def ack(self, code, raw):
        """To be called with what Handler.on_ack brought."""
        lib.CVekFlowCtrlSender_AckParser(byref(self._handle), code, raw)

    def send(self, request):
        """One request of two lines; False when it is held."""
        return lib.CVekFlowCtrlSender_SendVekRequest(byref(self._handle), *_request(request))
