// A small trader: two servers, a query, paced orders, and the fate of each. It survives the restart of a server.
//
//     mono trader.exe HOST:PORT [HOST:PORT]
using System;
using System.Linq;
using System.Threading.Tasks;
using VekApi;

internal static class Trader
{
    // False if it may be repeated, because it was never sent. One that may have arrived is not: ask the server about it.
    private static async Task<bool> Order(VekSession session)
    {
        VekFate fate = await session.SendAsync("new\nprod=TXF side=B qty=1 price=MKT", TimeSpan.FromSeconds(30),
                                               TimeSpan.FromSeconds(10));
        if (fate.Kind != VekFateKind.Refused)  // the link has just ended
            Console.WriteLine("order {0}: {1} {2}", fate.WorkId, fate.FateText(), fate.ReasonText());
        return !fate.SafeToRepeat;
    }

    private static async Task Trade(string[] servers)
    {
        using (var session = new VekSession(servers) { User = "trader", Rate = (5, 200), Acks = VekAckRule.ByWorkId })
        {
            session.Config.idSeparator = 1;
            session.AddResync("orders");
            session.StateChanged += (sender, e) => Console.WriteLine(e.Describe());
            await session.OpenAsync("secret");
            VekResult products = await session.QueryAsync("products", TimeSpan.FromSeconds(3));
            Console.WriteLine("products: {0}", string.Join(", ", products["products"].Select(p => p["Prod"])));
            for (int left = 30; left > 0;)
            {
                await session.UpAsync();
                bool[] done = await Task.WhenAll(Enumerable.Range(0, left).Select(i => Order(session)));
                left -= done.Count(d => d);
            }
        }
    }

    private static int Main(string[] servers)
    {
        Trade(servers).Wait();
        return 0;
    }
}
