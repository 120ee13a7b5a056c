"""Task results and their parts, all borrowed: see TaskResult."""

from ctypes import byref
from typing import Any, Dict, Iterator, List, Optional

from ._library import lib
from ._text import encode, text


class Properties:
    """A name and key/value pairs, of a table or a column."""

    def __init__(self, handle: Any) -> None:
        self._handle = handle

    def get(self, key: str) -> Optional[str]:
        return text(lib.CVekProperties_Get(byref(self._handle), encode(key)))

    @property
    def name(self) -> str:
        return text(lib.CVekProperties_Name(byref(self._handle)))

    @property
    def display_text(self) -> str:
        return text(lib.CVekProperties_DisplayText(byref(self._handle)))

    @property
    def description(self) -> str:
        return text(lib.CVekProperties_Description(byref(self._handle)))


class Table(Properties):
    """A table with its properties; borrowed like its result."""

    def __init__(self, handle: Any) -> None:
        super().__init__(lib.CVekTable_Properties(byref(handle)))
        self._table = handle

    def __len__(self) -> int:
        return lib.CVekTable_RecordsCount(byref(self._table))

    @property
    def mkt_flag(self) -> int:
        return lib.CVekTable_MktFlag(byref(self._table))

    def columns(self) -> Iterator[Properties]:
        """The columns' properties."""
        fields = lib.CVekTable_Fields(byref(self._table))
        for index in range(lib.CVekFields_Count(byref(fields))):
            field = lib.CVekFields_IndexField(byref(fields), index)
            yield Properties(lib.CVekField_Properties(byref(field)))

    def value(self, row: int, column: int) -> Optional[str]:
        return text(lib.CVekTable_RecordIndexField(byref(self._table), row, column))

    def rows(self) -> List[Dict[str, Optional[str]]]:
        """All records, as dictionaries keyed by column name."""
        names = [column.name for column in self.columns()]
        return [{name: self.value(row, i) for i, name in enumerate(names)} for row in range(len(self))]


class TaskResult:
    """The result of a query, borrowed until its event returns."""

    def __init__(self, handle: Any) -> None:
        self._handle = type(handle)(handle.object)  # the event's handle is temporary

    @property
    def work_id(self) -> str:
        return text(lib.CVekTaskResult_WorkID(byref(self._handle)))

    @property
    def raw(self) -> bytes:
        """The server's text as bytes."""
        return lib.CVekTaskResult_OrigResult(byref(self._handle))

    def __len__(self) -> int:
        return lib.CVekTaskResult_TableCount(byref(self._handle))

    def __iter__(self) -> Iterator[Table]:
        return (Table(lib.CVekTaskResult_IndexTable(byref(self._handle), i)) for i in range(len(self)))

    def table(self, name: str) -> Optional[Table]:
        """None if there is no such table."""
        handle = lib.CVekTaskResult_NameTable(byref(self._handle), encode(name))
        return Table(handle) if handle else None

    def plain(self) -> Dict[str, List[Dict[str, Optional[str]]]]:
        """A copy of all records, keyed by table name."""
        return {table.name: table.rows() for table in self}
