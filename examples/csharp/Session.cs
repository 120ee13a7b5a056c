// A whole session in C#: sign on, ask for a table, send paced orders, wait until they are filled, ask for the
// positions, disconnect. Ends with 0 when every step came through.
//
//     mono session.exe [HOST:PORT [USER [PASSWORD]]]
//
// Callbacks run on threads of the library: they note down what came, and Main waits for it. The delegates live in a
// field as long as the client, as the garbage collector does not see that the library uses them. What a callback gets
// is gone when it returns, so tables are printed inside it. Texts are decoded from code page 950 by VekText.Get.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.Text;
using System.Threading;
using VekApi;

internal sealed class Session : IDisposable
{
    private const int Orders = 6;
    private const int ApReady = 3, Connecting = 1;

    private readonly object notes = new object();
    private int state = Connecting, acknowledged, filled;
    private string answered;

    private CVekClientCallbacks callbacks;  // keeps the delegates alive
    private CVekClient client;
    private CVekFlowCtrlSender sender;

    private Session()
    {
        callbacks.OnVekConnectEvent = OnConnect;
        callbacks.OnVekApReadyEvent = OnReady;
        callbacks.OnVekTaskResultEvent = OnResult;
        callbacks.OnVekRequestAckEvent = OnAck;
        callbacks.OnVekReportEvent = OnReport;
        client = Vek.CVekClient_Create(ref callbacks, IntPtr.Zero);
        sender = Vek.CVekFlowCtrlSender_Create(ref client);
    }

    public void Dispose()
    {
        Vek.CVekClient_Disconnect(ref client);  // no callback comes any more
        Vek.CVekFlowCtrlSender_Delete(ref sender);
        Vek.CVekClient_Delete(ref client);
    }

    // Nothing may be thrown out of a callback: it would have to pass through the library.
    private static void Guarded(Action callback)
    {
        try { callback(); }
        catch (Exception e) { Console.Error.WriteLine(e); }
    }

    private void Note(Action note)
    {
        lock (notes)
        {
            note();
            Monitor.PulseAll(notes);
        }
    }

    private void OnConnect(ref CVekClient from, IntPtr user, IntPtr reason)
    {
        int now = Vek.CVekClient_State(ref from);
        Guarded(() =>
        {
            Console.WriteLine("[connect] state {0} {1}", now, VekText.Get(reason));
            Note(() => state = now);
        });
    }

    private void OnReady(ref CVekClient from, IntPtr user)
    {
        int now = Vek.CVekClient_State(ref from);
        CVekTaskResult result = Vek.CVekClient_SgnResult(ref from);
        Guarded(() =>
        {
            PrintTables(result);
            Note(() => state = now);
        });
    }

    private void OnResult(ref CVekClient from, IntPtr user, ref CVekTaskResult result)
    {
        CVekTaskResult lent = result;
        Guarded(() =>
        {
            PrintTables(lent);
            Note(() => answered = VekText.Get(Vek.CVekTaskResult_WorkID(ref lent)));
        });
    }

    // One line for each request. The sender is told, so that it knows what it may send next.
    private void OnAck(ref CVekClient from, IntPtr user, int msgCode, IntPtr ackText)
    {
        if (msgCode != 129) return;
        Guarded(() =>
        {
            string text = VekText.Get(ackText);
            Console.WriteLine("[ack] {0}", text.Replace('\x01', ' ').Replace("\n", ", "));
            Vek.CVekFlowCtrlSender_AckParser(ref sender, msgCode, VekText.Put(text));
            Note(() => acknowledged += text.Split('\n').Length);
        });
    }

    private void OnReport(ref CVekClient from, IntPtr user, IntPtr reportText)
    {
        Guarded(() =>
        {
            string text = VekText.Get(reportText);
            Console.WriteLine("[report] {0}", text.Replace('\x01', ' '));
            if (text.StartsWith("fill\x01", StringComparison.Ordinal) && text.Contains("\u0001Left=0\u0001"))
                Note(() => ++filled);
        });
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

    // Until `done`; false when the session fails before, or it takes longer than 30 seconds.
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
        byte[] request = VekText.Request(workId + " " + verb);
        while (!Vek.CVekClient_SendVekRequest(ref client, 128, request, (uint)request.Length))
        {
            if (!Vek.CVekClient_IsSessionConnected(ref client)) return false;
            Vek.CVekFlowCtrl_Sleep(10);  // the server's rate is used up; nothing was touched
        }
        return Wait(verb, () => answered == workId);
    }

    // No more than two within 100 ms, counted from their acknowledgements; the sender holds the others.
    private bool SendOrders()
    {
        Vek.CVekFlowCtrlSender_SetFlowCtrl(ref sender, 2, 100);
        for (int i = 0; i < Orders; ++i)
        {
            byte[] order = VekText.Request("o" + i + " new\nprod=TXF side=B qty=1 price=MKT");
            Vek.CVekFlowCtrlSender_SendVekRequest(ref sender, order, (uint)order.Length);
        }
        Console.WriteLine("-- {0} orders are held", Vek.CVekFlowCtrlSender_PendingCount(ref sender));
        return Wait("orders", () => acknowledged == Orders && filled == Orders);
    }

    private bool Run(string server, string user, string password)
    {
        Vek.CVekClient_Connect(ref client, VekText.Put(server), VekText.Put("C# example"), VekText.Put("1.0.0.0"),
                               VekText.Put(user), VekText.Put(""), VekText.Put(password));
        return Wait("sign-on", () => state == ApReady) && Query("q1", "products") && SendOrders() &&
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
            done = session.Run(Argument(args, 0, "127.0.0.1:9000"), Argument(args, 1, "trader"),
                               Argument(args, 2, "secret"));
        Console.WriteLine(done ? "session: every step came through" : "session: FAILED");
        return done ? 0 : 1;
    }
}
