#!/usr/bin/env python3
"""A small trader: two servers, a query, paced orders, and the fate of each. It survives the restart of a server.

    trader.py [--library PATH] HOST:PORT [HOST:PORT]
"""

import argparse
import asyncio
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bindings" / "python"))
import vekapi  # noqa: E402


def show(event):
    if event.kind is vekapi.EventKind.STATE:
        print(event, flush=True)


async def order(session):
    """False if it may be repeated, because it was never sent. One that may have arrived is not: ask the server about it."""
    fate = await session.send("new\nprod=TXF side=B qty=1 price=MKT", hold=30, timeout=10)
    if fate.kind is not vekapi.FateKind.REFUSED:  # the link has just ended
        print(f"order {fate.work_id}: {fate.fate_text()} {fate.reason_text()}", flush=True)
    return not fate.safe_to_repeat


async def trade(servers):
    async with vekapi.Session(
        servers, user="trader", password="secret", resync=["orders"], rate=(5, 200), acks="by-id", separator="\1",
        on_event=show,
    ) as session:
        products = await session.query("products", timeout=3)
        print("products:", ", ".join(product["Prod"] for product in products["products"]))
        left = 30
        while left:
            await session.until_up()
            left -= sum(await asyncio.gather(*(order(session) for _ in range(left))))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--library")
    parser.add_argument("servers", nargs="+")
    options = parser.parse_args()
    vekapi.load(options.library)
    asyncio.run(trade(options.servers))


if __name__ == "__main__":
    main()
