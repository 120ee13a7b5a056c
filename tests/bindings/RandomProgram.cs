// A program that makes random legal calls, on several threads and inside events, and exits in the middle of them.
//
//     mono random_program.exe HOST:PORT ENDING SEED
//
// Writes "busy" when its first session is up. random_programs.py lists the endings.
using System;
using System.Collections.Generic;
using System.Threading;
using VekApi;

internal sealed class Session : VekClient
{
    public readonly object Opening = new object();  // Connect and Disconnect of a client must not overlap
    public VekSender Sender;
    private readonly Random dice;
    private int reports;

    public Session(Random dice)
    {
        this.dice = dice;
        Sender = new VekSender(this);
        Sender.SetRate(10, 5);
    }

    protected override void OnReady()
    {
        RandomProgram.SayBusy();
        for (int i = 0; i < 5; ++i) Order();
    }

    protected override void OnReport(string report)
    {
        if (report.StartsWith("fill", StringComparison.Ordinal) && Sender.Pending < 10) Order();
        if (++reports > 10 && RandomProgram.Ending == "event_exit") Environment.Exit(5);
        if (RandomProgram.Ending != "event_exit" && dice.Next(50) == 0) RandomProgram.Step(dice);
    }

    protected override void OnTaskResult(CVekTaskResult result)
    {
        CVekTable table = Vek.CVekTaskResult_IndexTable(ref result, 0);
        VekText.Get(Vek.CVekTable_RecordIndexField(ref table, 0, 0));
        Send(Vek.cvmc_TaskResult, "q products");
    }

    protected override void OnAck(int code, IntPtr text) { Sender.Ack(code, text); }

    public void Order() { Sender.Send("o new\nprod=TXF side=B qty=2 price=MKT"); }
}

internal sealed class Gate : VekGate
{
    protected override void OnFree()
    {
        if (Take()) Acknowledged(1);
    }
}

internal static class RandomProgram
{
    private const int Steps = 300;
    public static string Ending;
    private static string server;
    private static readonly ManualResetEventSlim busy = new ManualResetEventSlim();
    // Objects that any thread may use and dispose. Others belong to one thread.
    private static readonly List<Session> shared = new List<Session>();
    private static readonly Gate gate = new Gate();  // never disposed

    public static void SayBusy()
    {
        if (busy.IsSet) return;
        busy.Set();
        Console.WriteLine("busy");
    }

    private static Session Any(Random dice)
    {
        lock (shared) return shared[dice.Next(shared.Count)];
    }

    private static void Exclusively(Session session, Action<Session> action)
    {
        if (!Monitor.TryEnter(session.Opening)) return;
        try { action(session); }
        finally { Monitor.Exit(session.Opening); }
    }

    private static void Connect(Session session)
    {
        Exclusively(session, s => s.Connect(server, "random", "1.0.0.0", "trader", "", "secret"));
    }

    private static void Begin(Random dice)
    {
        Session session = new Session(dice);
        lock (shared) shared.Add(session);
        Connect(session);
    }

    private static void Replace(Random dice)
    {
        Session session = new Session(dice), before;
        lock (shared)
        {
            int index = dice.Next(shared.Count);
            before = shared[index];
            shared[index] = session;
        }
        Connect(session);
        Exclusively(before, s => s.Dispose());
        before.Sender.Dispose();
    }

    // Also runs OnFree on the timer thread.
    private static void Wait(VekGate closed)
    {
        closed.SetRate(1, 1);
        closed.Take();
        closed.Acknowledged(1);
        closed.CallWhenFree();
    }

    // A client and a sender of this thread only, disposed in either order.
    private static void ShortLife(Random dice)
    {
        Session session = new Session(dice);
        session.Connect(server, "random", "1.0.0.0", "trader", "", "secret");
        for (int i = dice.Next(30); i > 0; --i) session.Order();
        session.Disconnect();  // its events use the sender
        VekOwned[] ends = { session, session.Sender };
        int first = dice.Next(2);
        ends[first].Dispose();
        ends[1 - first].Dispose();
    }

    public static void Step(Random dice)
    {
        switch (dice.Next(13))
        {
            case 0: if (shared.Count < 4) Begin(dice); break;
            case 1: Connect(Any(dice)); break;
            case 2: Exclusively(Any(dice), s => s.Disconnect()); break;
            case 3: ShortLife(dice); break;
            case 4: Any(dice).Sender.SetRate(dice.Next(1, 11), dice.Next(5, 25)); break;
            case 5: GC.Collect(); break;
            case 6: case 7: Any(dice).Send(Vek.cvmc_TaskResult, "q ticks rows=200"); break;
            case 8: Wait(gate); break;
            case 9: Replace(dice); break;
            default: Any(dice).Order(); break;
        }
    }

    private static Thread Worker(int seed, bool background, int count)
    {
        Random dice = new Random(seed);
        Thread thread = new Thread(() => { for (int i = 0; i != count; ++i) Step(dice); });
        thread.IsBackground = background;
        thread.Start();
        return thread;
    }

    // While threads wait for each other's locks, Mono's exit may hang.
    private static void ExitContended()
    {
        for (int i = 0; i < 8; ++i)
            new Thread(() => { for (;;) new Gate().Dispose(); }) { IsBackground = true }.Start();
        Environment.Exit(7);
    }

    private static int Main(string[] args)
    {
        server = args[0];
        Ending = args[1];
        int seed = int.Parse(args[2]);
        Random dice = new Random(seed);
        if (Ending.StartsWith("contended")) ExitContended();
        Begin(dice);
        if (!busy.Wait(20000)) return 100;
        // Mono's exit waits for threads inside the library: none may wait for the event that exits.
        if (Ending == "event_exit") Thread.Sleep(Timeout.Infinite);
        bool background = Ending == "daemon";
        Thread worker = Worker(seed + 1, background, background ? -1 : Steps);
        for (int i = 0; i < Steps; ++i) Step(dice);
        switch (Ending)
        {
            case "joined": worker.Join(); return 0;
            case "exit": Environment.Exit(7); return 0;
            case "raise": throw new Exception("the program's own");
            default: return 0;
        }
    }
}
