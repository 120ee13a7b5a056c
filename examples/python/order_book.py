#!/usr/bin/env python3
"""The order grammar of the simulated server, which sessions do not know: formats requests, and maintains an order book
with decimal prices from results and reports.

    order_book.py [--library PATH] HOST:PORT [HOST:PORT]

The session queries the orders on every new link (resync), so the book is complete after each reconnection.
"""

import argparse
import asyncio
import pathlib
import sys
from dataclasses import dataclass
from decimal import Decimal
from typing import Dict, Iterable, List, Mapping, Optional

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bindings" / "python"))
import vekapi  # noqa: E402


def new(prod: str, side: str, qty: int, price: Optional[Decimal] = None) -> str:
    """A new order; a market order without a price."""
    return f"new\nprod={prod} side={side} qty={qty} price={'MKT' if price is None else price}"


def cancel(number: str) -> str:
    return f"cancel\nord={number}"


@dataclass
class Order:
    number: str
    work_id: str
    prod: str
    side: str
    qty: int
    left: int
    price: Optional[Decimal]  # None: market order
    status: str
    paid: Decimal = Decimal(0)  # quantity times price, over all fills


class OrderBook:
    """Orders by number, from the table `orders` and from reports."""

    def __init__(self) -> None:
        self.orders: Dict[str, Order] = {}

    def resynced(self, rows: Iterable[Mapping[str, str]]) -> None:
        """Replaces the book by the server's; the amounts paid, known from reports, are kept."""
        paid = {order.work_id: order.paid for order in self.orders.values()}  # order numbers differ between servers
        self.orders = {}
        for row in rows:
            self._enter(row)
        for order in self.orders.values():
            order.paid = paid.get(order.work_id, Decimal(0))

    def report(self, text: str) -> None:
        kind, *fields = text.split("\1")
        told = dict(field.split("=", 1) for field in fields)
        if kind == "accepted":
            self._enter(told)
        order = self.orders.get(told.get("OrdNo", ""))
        if order is None:
            return
        order.left, order.status = int(told["Left"]), told["Status"]
        if kind == "fill":
            order.paid += int(told["Qty"]) * Decimal(told["Price"])

    def _enter(self, told: Mapping[str, str]) -> None:
        price = None if told["Price"] == "MKT" else Decimal(told["Price"])
        self.orders[told["OrdNo"]] = Order(told["OrdNo"], told["WorkID"], told["Prod"], told["Side"], int(told["Qty"]),
                                           int(told["Left"]), price, told["Status"])

    def lines(self) -> List[str]:
        return [f"{o.number} {o.side} {o.qty - o.left}/{o.qty} {o.prod} at "
                f"{'market' if o.price is None else format(o.price, 'f')}, paid {o.paid:f}, {o.status}"
                for o in self.orders.values()]


async def run(servers: List[str]) -> None:
    book = OrderBook()

    def on_event(event: vekapi.Event) -> None:
        if event.kind is vekapi.EventKind.REPORT:
            book.report(event.text)
        elif event.kind is vekapi.EventKind.FATE and event.result:
            book.resynced(event.result["orders"])

    async with vekapi.Session(servers, user="trader", password="secret", resync=["orders"], acks="by-id", separator="\1",
                              on_event=on_event) as session:
        await session.send(new("TXF", "B", 3))
        resting = await session.send(new("TXF", "B", 2, Decimal("100.00")))
        await session.send(cancel(resting.text.split("\1")[2]))
        await session.query("stats")  # its result arrives after the reports
        print(*book.lines(), sep="\n")


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--library")
    parser.add_argument("servers", nargs="+")
    options = parser.parse_args()
    vekapi.load(options.library)
    asyncio.run(run(options.servers))


if __name__ == "__main__":
    main()
