// Tests of the C# package's sessions with the simulated server: refusals, withdrawal, closing inside an event.
//
//     mono sessions.exe HOST:PORT
using System;
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
        VekFate first = await session.SendAsync(Order);
        Expect(first.Kind == VekFateKind.Acknowledged && first.Text.StartsWith(first.WorkId), first.ToString());
        VekFate fast = await session.SendAsync(Order, TimeSpan.Zero);
        Expect(fast.Reason == VekReason.TooFast && fast.Wait > TimeSpan.Zero, "refused");
        await Cancel(session);
        Task<VekFate> held = session.SendAsync(Order);
        Expect(session.Stats().held == 1, "held");
        await session.CloseAsync();
        Expect((await held).Reason == VekReason.Closed && session.State == VekState.Closed, "closed");
        session.Dispose();
        Expect((await session.SendAsync(Order)).Kind == VekFateKind.Refused, "disposed, and taken");
        await CloseInsideEvent(server);
    }

    // What is held can be taken back, what is answered cannot be.
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
    }

    private static async Task CloseInsideEvent(string server)
    {
        using (VekSession session = New(server))
        {
            var closed = new TaskCompletionSource<bool>();
            session.Report += (sender, e) => session.Dispose();
            session.StateChanged += (sender, e) => { if (e.State == VekState.Closed) closed.TrySetResult(true); };
            await session.OpenAsync("secret");
            Task<VekFate> order = session.SendAsync(Order), held = session.SendAsync(Order);
            await closed.Task;
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
