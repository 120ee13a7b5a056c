"""Task results, their tables and records."""

from ctypes import addressof, byref, c_char, c_int, c_uint, sizeof, string_at
from decimal import Decimal, InvalidOperation
from typing import (
    Any, Dict, Iterable, Iterator, List, Mapping, NamedTuple, Optional, Sequence, Tuple, Union, overload,
)

from ._declarations import CVekFields, CVekRecordBlock, CVekTable
from ._library import lib
from ._text import encode, text

_AT_ONCE = 128  # records read together: their text stays in the processor's cache
_KEPT_NAMES = 256  # lists of column names; most results repeat a few
_names: Dict[bytes, Tuple[Tuple[str, ...], Dict[str, int]]] = {}


class Memory:
    """The library's memory behind a result and its parts, which all hold it."""

    def __init__(self, handle: Any, lent: bool = True) -> None:
        self._handle, self.lent = handle, lent

    @property
    def handle(self) -> Any:
        """The result's handle; ReferenceError after `end`."""
        self.check()
        return self._handle

    def check(self) -> None:
        """ReferenceError after `end`."""
        if self._handle is None:
            raise ReferenceError("the result was borrowed, and its event has returned")

    def end(self) -> None:
        """The library takes its memory back."""
        self._handle = None


class Properties:
    """A name and key/value pairs, of a table or a column."""

    def __init__(self, handle: Any, memory: Memory) -> None:
        self._handle, self._memory = handle, memory

    def _ask(self, function: Any, *arguments: Any) -> Any:
        self._memory.check()
        return text(function(byref(self._handle), *arguments))

    def get(self, key: str) -> Optional[str]:
        """The value of `key`; None if there is none."""
        found: Optional[str] = self._ask(lib.CVekProperties_Get, encode(key))
        return found

    @property
    def name(self) -> str:
        """The name; "" if there is none."""
        return str(self._ask(lib.CVekProperties_Name))

    @property
    def display_text(self) -> str:
        """The text to show to users."""
        return str(self._ask(lib.CVekProperties_DisplayText))

    @property
    def description(self) -> str:
        """A longer text to show to users."""
        return str(self._ask(lib.CVekProperties_Description))


def _to_decimal(value: str) -> Optional[Decimal]:
    if not value:
        return None
    try:
        return Decimal(value)
    except InvalidOperation:
        raise ValueError(f"{value!r} is not a number") from None


class Row(Mapping[str, str]):
    """A record: its values by column name, or by position. It stays valid. A record that arrived before the last of its
    table's columns were told has none of their values."""

    __slots__ = ("_values", "_at")

    def __init__(self, values: Tuple[str, ...], at: Dict[str, int]) -> None:
        self._values, self._at = values, at

    def __getitem__(self, key: Union[str, int]) -> str:
        try:
            return self._values[self._at[key] if isinstance(key, str) else key]
        except IndexError:
            raise KeyError(key) from None

    def __iter__(self) -> Iterator[str]:
        count = len(self._values)
        return iter(self._at if count == len(self._at) else [name for name, at in self._at.items() if at < count])

    def __len__(self) -> int:
        return min(len(self._values), len(self._at))

    def decimal(self, key: Union[str, int]) -> Optional[Decimal]:
        """A value as a number, exactly; None if it is empty. ValueError if it is not a number."""
        return _to_decimal(self[key])

    def __repr__(self) -> str:
        return f"Row({dict(self)!r})"


class Block(NamedTuple):
    """Consecutive records with the same number of values, undecoded. Value `c` of record `r`, for c below `values`, starts
    at text[starts[r * stride + c] - starts[0]] and ends with a zero byte. `text` holds these values and nothing else."""

    text: memoryview  # of bytes
    starts: memoryview  # of unsigned integers
    records: int
    columns: int  # those from `values` on are empty
    values: int
    stride: int


class Table(Properties, Sequence[Row]):
    """A sequence of records, with columns and properties. Records are read from the library together, when the first one is
    asked for, and stay valid then; everything else is valid as long as the result."""

    def __init__(self, handle: Any, memory: Memory) -> None:
        super().__init__(lib.CVekTable_Properties(byref(handle)), memory)
        self._table = byref(handle)
        self._count: Optional[int] = None
        self._tuples: Optional[List[Tuple[str, ...]]] = None
        self._columns: Optional[Tuple[Tuple[str, ...], Dict[str, int]]] = None

    def __len__(self) -> int:
        if self._count is None:
            self._memory.check()
            self._count = int(lib.CVekTable_RecordsCount(self._table))
        return self._count

    @overload
    def __getitem__(self, index: int) -> Row: ...
    @overload
    def __getitem__(self, index: slice) -> List[Row]: ...
    def __getitem__(self, index: Union[int, slice]) -> Union[Row, List[Row]]:
        at = self._at()
        if isinstance(index, slice):
            return [Row(values, at) for values in self.tuples()[index]]
        return Row(self.tuples()[index], at)

    def __iter__(self) -> Iterator[Row]:
        at = self._at()
        return (Row(values, at) for values in self.tuples())

    @property
    def mkt_flag(self) -> int:
        """The account market, cvam_... or another number."""
        self._memory.check()
        return int(lib.CVekTable_MktFlag(self._table))

    @property
    def names(self) -> Tuple[str, ...]:
        """The columns' names."""
        return self._column_names()[0]

    def columns(self) -> Iterator[Properties]:
        """The columns' properties."""
        fields = self._fields()
        for index in range(lib.CVekFields_Count(byref(fields))):
            field = lib.CVekFields_IndexField(byref(fields), index)
            yield Properties(lib.CVekField_Properties(byref(field)), self._memory)

    def value(self, row: int, column: int) -> Optional[str]:
        """One value, read from the library; None if there is no such record or column."""
        self._memory.check()
        found: Optional[bytes] = lib.CVekTable_RecordIndexField(self._table, row, column)
        return text(found)

    def tuples(self) -> List[Tuple[str, ...]]:
        """The values of all records. Not a copy: do not change the list."""
        if self._tuples is None:
            self._at()  # must be known before the result ends, too
            tuples: List[Tuple[str, ...]] = []
            for block, count in self._blocks():
                for row in range(0, count, _AT_ONCE):
                    tuples.extend(_values_of(block, row, min(row + _AT_ONCE, count), count))
            self._tuples = tuples
        return self._tuples

    def column(self, name: str) -> List[str]:
        """The values of a column, "" where a record has none. KeyError if there is no such column."""
        at = self._at()[name]
        return [values[at] if at < len(values) else "" for values in self.tuples()]

    def decimals(self, name: str) -> List[Optional[Decimal]]:
        """The values of a column as numbers, None where they are empty. KeyError, or ValueError for a text."""
        return [_to_decimal(value) for value in self.column(name)]

    def to_dicts(self, decimals: Iterable[str] = ()) -> List[Dict[str, Any]]:
        """All records, as dictionaries keyed by column name. The columns named in `decimals` become numbers, None where
        they are empty."""
        names, as_numbers = self.names, list(decimals)
        dicts: List[Dict[str, Any]] = [dict(zip(names, values)) for values in self.tuples()]
        for record in dicts if as_numbers else ():
            record.update((name, _to_decimal(record.get(name, ""))) for name in as_numbers)
        return dicts

    def to_pandas(self, decimals: Iterable[str] = ()) -> Any:
        """A pandas.DataFrame of all records; needs pandas. `decimals` as in to_dicts()."""
        import pandas  # type: ignore[import]

        names = list(self.names)
        count, missing = len(names), ("",) * len(names)
        records = (values if len(values) == count else (values + missing)[:count] for values in self.tuples())
        frame = pandas.DataFrame(list(records), columns=names)
        for name in decimals:
            frame[name] = self.decimals(name)
        return frame

    def rows(self) -> List[Dict[str, Optional[str]]]:
        """All records, as dictionaries keyed by column name; None where a record has no values."""
        names = self.names
        nothing = (None,) * len(names)
        return [dict(zip(names, values or nothing)) for values in self.tuples()]

    def blocks(self) -> Iterator[Block]:
        """All records, undecoded. The buffers of a result that a session returned share the library's memory and keep it
        alive; those of a borrowed one are copies."""
        for block, count in self._blocks():
            text_, starts = memoryview(b""), memoryview(b"")
            if block.text:
                first = block.starts[0]
                text_ = self._buffer(block.text + first, block.textEnd - first)
                starts = self._buffer(addressof(block.starts.contents), count * block.stride * sizeof(c_uint))
            yield Block(text_, starts.cast("I"), count, block.columns, block.values, block.stride)

    def _buffer(self, address: int, size: int) -> memoryview:
        if self._memory.lent:
            return memoryview(string_at(address, size))
        array = (c_char * size).from_address(address)
        setattr(array, "memory", self._memory)  # held as long as the buffer
        return memoryview(array).cast("B").toreadonly()

    def _blocks(self) -> Iterator[Tuple[CVekRecordBlock, int]]:
        row, total = 0, len(self)
        while row < total:
            block = CVekRecordBlock()
            self._memory.check()
            count = lib.CVekTable_RecordBlock(self._table, row, byref(block))
            if not count:
                return
            yield block, count
            row += count

    def _fields(self) -> CVekFields:
        self._memory.check()
        fields: CVekFields = lib.CVekTable_Fields(self._table)
        return fields

    def _column_names(self) -> Tuple[Tuple[str, ...], Dict[str, int]]:
        if self._columns is None:
            fields, length = self._fields(), c_int()
            address = lib.CVekFields_Names(byref(fields), byref(length))
            self._columns = _names_in(string_at(address, length.value) if address else b"")
        return self._columns

    def _at(self) -> Dict[str, int]:
        return self._column_names()[1]


def _names_in(raw: bytes) -> Tuple[Tuple[str, ...], Dict[str, int]]:
    """Column names, each ended by NUL, and their positions."""
    found = _names.get(raw)
    if found is None:
        names = tuple(text(raw).split("\0")[:-1])
        found = names, {name: at for at, name in reversed(list(enumerate(names)))}
        if len(_names) >= _KEPT_NAMES:
            _names.clear()
        _names[raw] = found
    return found


def _values_of(block: CVekRecordBlock, row: int, end: int, count: int) -> Iterable[Tuple[str, ...]]:
    """The values of its records from `row` up to `end`, of `count`."""
    if not block.text:
        return [()] * (end - row)
    starts, stride = block.starts, block.stride
    first = starts[row * stride]
    behind = starts[end * stride] if end < count else block.textEnd
    values = iter(text(string_at(block.text + first, behind - first)).split("\0"))
    records: Iterable[Tuple[str, ...]] = zip(*[values] * block.values)
    missing = ("",) * (block.columns - block.values)
    return [record + missing for record in records] if missing else records


class TaskResult:
    """The result of a query: its tables, in arrival order or by name. result["orders"][0]["Price"] is a value.

    The result passed to an event of a Client is borrowed: it ends when the event returns, except for records of a table
    that have been read. After that it raises ReferenceError."""

    def __init__(self, handle: Any, lent: bool = True) -> None:
        self._memory = Memory(type(handle)(handle.object), lent)  # the event's handle is temporary
        self._tables: Dict[Any, Table] = {}

    @property
    def work_id(self) -> str:
        """The id that matches it to its request."""
        return text(lib.CVekTaskResult_WorkID(byref(self._memory.handle))) or ""

    @property
    def raw(self) -> bytes:
        """The server's text as bytes."""
        return bytes(lib.CVekTaskResult_OrigResult(byref(self._memory.handle)) or b"")

    def __len__(self) -> int:
        return int(lib.CVekTaskResult_TableCount(byref(self._memory.handle)))

    def __iter__(self) -> Iterator[Table]:
        for index in range(len(self)):
            yield self._table(lib.CVekTaskResult_IndexTable(byref(self._memory.handle), index))

    def __contains__(self, name: object) -> bool:
        return isinstance(name, str) and self.table(name) is not None

    def __getitem__(self, name: str) -> Table:
        """A table; KeyError if there is none of this name."""
        found = self.table(name)
        if found is None:
            raise KeyError(name)
        return found

    def table(self, name: str) -> Optional[Table]:
        """A table; None if there is none of this name."""
        handle = lib.CVekTaskResult_NameTable(byref(self._memory.handle), encode(name))
        return self._table(handle) if handle else None

    def _table(self, handle: CVekTable) -> Table:
        found = self._tables.get(handle.object)
        if found is None:
            found = self._tables[handle.object] = Table(handle, self._memory)
        return found

    def plain(self) -> Dict[str, List[Dict[str, Optional[str]]]]:
        """A copy of all records, keyed by table name."""
        return {table.name: table.rows() for table in self}

    def end(self) -> None:
        """Called when the event that borrowed it returns."""
        self._memory.end()
