// Tests of the C# package's sessions with the simulated server: refusals, withdrawal, closing inside an event.
//
//     mono sessions.exe HOST:PORT
using System;
using System.Collections.Generic;
using System.Threading;
using System.Threading.Tasks;
using VekApi;

internal static class Sessions
{
    private const string Order = "new\nprod=TXF side=B qty=1 price=MKT";

    private static void Expect(bool good, string what)
    {
        if (!good) throw new Exception(what);
    }

    private static VekSession New(string server)
    {
        var session = new VekSession(server) { User = "trader", Rate = (1, 600000), Acks = VekAckRule.ByWorkId };
        session.Config.idSeparator = 1;
        session.AddResync("orders");
        return session;
    }

    private static async Task Run(string server)
    {
        VekSession session = New(server);
        try
        {
            await session.QueryAsync("products");
            Expect(false, "not open, and answered");
        }
        catch (VekNotAnsweredException e)
        {
            Expect(e.Fate.Kind == VekFateKind.Refused && e.Fate.SafeToRepeat, e.Message);
            Expect(e.Fate.ReasonText(VekLanguage.TraditionalChinese) == "連線尚未就緒", "words");
        }
        try
        {
            await session.OpenAsync("wrong");
            Expect(false, "a wrong password was taken");
        }
        catch (VekSessionException e) { Expect(e.Reason == VekReason.SignOnRefused, e.Message); }
        await session.OpenAsync("secret");
        Read(await session.QueryAsync("products"));
        VekFate first = await session.SendAsync(Order);
        Expect(first.Kind == VekFateKind.Acknowledged && first.Text.StartsWith(first.WorkId), first.ToString());
        VekFate fast = await session.SendAsync(Order, TimeSpan.Zero);
        Expect(fast.Reason == VekReason.TooFast && fast.Wait > TimeSpan.Zero, "refused");
        try
        {
            await session.SendAsync("new\nprod=TXF\u20DD");
            Expect(false, "sent with a question mark");
        }
        catch (ArgumentException) { }
        VekFate late = await session.SendAsync(Order, TimeSpan.FromSeconds(-5));
        Expect(late.Reason == VekReason.Expired, "held, although its time was over");
        await Cancel(session);
        Task<VekFate> held = session.SendAsync(Order);
        Expect(session.Stats().held == 1, "held");
        await session.CloseAsync();
        Expect((await held).Reason == VekReason.Closed && session.State == VekState.Closed, "closed");
        await OpenBeforeClosedIsTold(session);
        session.Dispose();
        Expect((await session.SendAsync(Order)).Kind == VekFateKind.Refused, "disposed, and taken");
        await CloseInsideEvent(server);
    }

    private static async Task OpenBeforeClosedIsTold(VekSession session)
    {
        await session.OpenAsync("secret");
        var opened = new ManualResetEventSlim();
        session.StateChanged += (_, e) => { if (e.State == VekState.Closed) opened.Wait(); };
        Task closing = session.CloseAsync(), opening = session.OpenAsync("secret");
        opened.Set();
        await opening;
        await closing;
    }

    private static void Read(VekResult result)
    {
        VekTable products = result["products"];
        VekRecord last = products[products.Count - 1];
        Expect(last["Prod"] == "GDF" && last[last.Count - 1] == last["Margin"] && products.Market == 2, "values");
        Expect(products.Columns[1].DisplayText == "商品名稱" && products.Attributes["mkt"] == "2", "attributes");
        Expect(result.Table("orders") == null && !last.ContainsKey("price"), "not there");
        Throws<KeyNotFoundException>(() => last["price"].ToString());
        Throws<ArgumentOutOfRangeException>(() => products[products.Count].ToString());
        Throws<ArgumentOutOfRangeException>(() => last[last.Count].ToString());
        result.Dispose();
        Throws<ObjectDisposedException>(() => last["Prod"].ToString());
    }

    private static void Throws<T>(Action action) where T : Exception
    {
        try { action(); }
        catch (T) { return; }
        throw new Exception("no " + typeof(T));
    }

    // A held request can be withdrawn, an answered one cannot.
    private static async Task Cancel(VekSession session)
    {
        using (var cancel = new CancellationTokenSource())
        {
            Task<VekFate> held = session.SendAsync(Order, token: cancel.Token);
            cancel.Cancel();
            Expect((await held).Reason == VekReason.Withdrawn && (await held).SafeToRepeat, "withdrawn");
            try
            {
                await session.QueryAsync("products", default(TimeSpan), cancel.Token);
                Expect(false, "cancelled, and answered");
            }
            catch (OperationCanceledException) {}
        }
        using (var cancel = new CancellationTokenSource())
        using (var nowhere = new VekSession("127.0.0.1:1"))
        {
            Task opening = nowhere.OpenAsync("secret", cancel.Token);
            cancel.Cancel();
            await Task.WhenAny(opening);
            Expect(opening.IsCanceled, "an end to the wait");
        }
    }

    private static async Task CloseInsideEvent(string server)
    {
        using (VekSession session = New(server))
        {
            var closed = new TaskCompletionSource<bool>();
            session.Report += (sender, e) => session.Dispose();
            session.StateChanged += (sender, e) => { if (e.State == VekState.Closed) closed.TrySetResult(true); };
            await session.OpenAsync("secret");
            IAsyncEnumerator<VekEvent> events = session.Events().GetAsyncEnumerator();
            Task<VekFate> order = session.SendAsync(Order), held = session.SendAsync(Order);
            await closed.Task;
            Expect(await events.MoveNextAsync() && events.Current.Kind == VekEventKind.Report, "the stream's first");
            while (await events.MoveNextAsync()) continue;
            Expect((await order).IsAnswered && (await held).SafeToRepeat, "every fate is told");
        }
    }

    private static int Main(string[] args)
    {
        Task run = Run(args[0]);
        if (!run.Wait(TimeSpan.FromSeconds(60))) throw new Exception("it hangs");
        Console.WriteLine("sessions: as they should be");
        return 0;
    }
}
