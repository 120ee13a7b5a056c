// A complete session in C#: sign on, query a table, send paced orders, wait until they are filled, query the positions,
// disconnect. Exits with 0 if every step succeeded.
//
//     mono session.exe [HOST:PORT [USER [PASSWORD]]]
//
// Events run on the library's threads: they store what arrived, and Main waits for it. Event arguments are invalid
// after the event has returned, so tables are printed inside it.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Text;
using System.Threading;
using VekApi;

internal sealed class Session : VekClient
{
    private const int Orders = 6;

    private readonly object notes = new object();
    private int state = Vek.cvcs_Connecting, acknowledged, filled;
    private string answered;
    private readonly VekSender sender;

    private Session()
    {
        sender = new VekSender(this);
    }

    protected override void OnConnect(int now, string reason)
    {
        Console.WriteLine("[connect] state {0} {1}", now, reason);
        Note(() => state = now);
    }

    protected override void OnReady()
    {
        PrintTables(SignOnResult);
        Note(() => state = Vek.cvcs_ApReady);
    }

    protected override void OnTaskResult(CVekTaskResult result)
    {
        PrintTables(result);
        Note(() => answered = VekText.Get(Vek.CVekTaskResult_WorkID(ref result)));
    }

    // One line per request.
    protected override void OnAck(int code, IntPtr text)
    {
        if (code != Vek.cvmc_RequestAck) return;
        string lines = VekText.Get(text);
        Console.WriteLine("[ack] {0}", lines.Replace('\x01', ' ').Replace("\n", ", "));
        sender.Ack(code, text);
        Note(() => acknowledged += lines.Split('\n').Length);
    }

    protected override void OnReport(string report)
    {
        Console.WriteLine("[report] {0}", report.Replace('\x01', ' '));
        if (report.StartsWith("fill\x01", StringComparison.Ordinal) && report.Contains("\u0001Left=0\u0001"))
            Note(() => ++filled);
    }

    private void Note(Action note)
    {
        lock (notes)
        {
            note();
            Monitor.PulseAll(notes);
        }
    }

    private static void PrintTables(CVekTaskResult result)
    {
        for (uint i = 0; i < Vek.CVekTaskResult_TableCount(ref result); ++i)
            PrintTable(Vek.CVekTaskResult_IndexTable(ref result, i));
    }

    private static void PrintTable(CVekTable table)
    {
        CVekProperties properties = Vek.CVekTable_Properties(ref table);
        CVekFields fields = Vek.CVekTable_Fields(ref table);
        int columns = Vek.CVekFields_Count(ref fields), rows = Vek.CVekTable_RecordsCount(ref table);
        Console.WriteLine("\n{0} ({1}), {2} records", VekText.Get(Vek.CVekProperties_DisplayText(ref properties)),
                          VekText.Get(Vek.CVekProperties_Name(ref properties)), rows);
        List<string> line = new List<string>();
        for (int column = 0; column < columns; ++column)
        {
            CVekField field = Vek.CVekFields_IndexField(ref fields, column);
            CVekProperties heading = Vek.CVekField_Properties(ref field);
            line.Add(VekText.Get(Vek.CVekProperties_DisplayText(ref heading)));
        }
        Console.WriteLine(string.Join(" | ", line));
        for (int row = 0; row < rows; ++row)
        {
            line.Clear();
            for (int column = 0; column < columns; ++column)
                line.Add(VekText.Get(Vek.CVekTable_RecordIndexField(ref table, row, column)) ?? "");
            Console.WriteLine(string.Join(" | ", line));
        }
    }

    // Waits for `done`; false if the session fails before, or after 30 seconds.
    private bool Wait(string step, Func<bool> done)
    {
        bool reached;
        Stopwatch waited = Stopwatch.StartNew();
        lock (notes)
        {
            while (!(reached = done()) && state >= 0 && waited.ElapsedMilliseconds < 30000)
                Monitor.Wait(notes, 1000);
        }
        Console.WriteLine("-- {0}: {1}", step, reached ? "done" : "FAILED");
        return reached;
    }

    private bool Query(string workId, string verb)
    {
        while (!Send(Vek.cvmc_TaskResult, workId + " " + verb))
        {
            if (!Connected) return false;
            Vek.CVekFlowCtrl_Sleep(10);  // the server's rate is used up
        }
        return Wait(verb, () => answered == workId);
    }

    // At most two within 100 ms, counted from their acknowledgements; the sender holds the others.
    private bool SendOrders()
    {
        sender.SetRate(2, 100);
        for (int i = 0; i < Orders; ++i) sender.Send("o" + i + " new\nprod=TXF side=B qty=1 price=MKT");
        Console.WriteLine("-- {0} orders are held", sender.Pending);
        return Wait("orders", () => acknowledged == Orders && filled == Orders);
    }

    private bool Run(string server, string user, string password)
    {
        Connect(server, "C# example", "1.0.0.0", user, "", password);
        return Wait("sign-on", () => state == Vek.cvcs_ApReady) && Query("q1", "products") && SendOrders() &&
               Query("q2", "positions");
    }

    private static string Argument(string[] args, int index, string otherwise)
    {
        return args.Length > index ? args[index] : otherwise;
    }

    private static int Main(string[] args)
    {
        Console.OutputEncoding = new UTF8Encoding(false);
        Console.WriteLine("VekApi {0}", VekText.Get(Vek.CVekApi_Version()));
        bool done;
        using (Session session = new Session())
        using (session.sender)
            done = session.Run(Argument(args, 0, "127.0.0.1:9000"), Argument(args, 1, "trader"),
                               Argument(args, 2, "secret"));
        Console.WriteLine(done ? "session: every step came through" : "session: FAILED");
        return done ? 0 : 1;
    }
}
