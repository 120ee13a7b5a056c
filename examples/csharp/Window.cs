// A window with a session: its state, the orders, a button that sends one. Events and awaits run on the window's thread.
//
//     mono window.exe [HOST:PORT [USER [PASSWORD]]]
using System;
using System.Drawing;
using System.Windows.Forms;
using VekApi;

internal sealed class Window : Form
{
    private readonly VekSession session;
    private readonly string password;
    private readonly Label state = new Label { Dock = DockStyle.Top, Height = 24 };
    private readonly Button order = new Button { Text = "Buy 1 TXF", Dock = DockStyle.Bottom, Height = 32, Enabled = false };
    private readonly ListView orders = new ListView { View = View.Details, Dock = DockStyle.Fill, FullRowSelect = true };

    private Window(string server, string user, string password)
    {
        this.password = password;
        Text = "VekApi";
        ClientSize = new Size(720, 400);
        Controls.AddRange(new Control[] { orders, state, order });
        // After the first control exists: Windows Forms has installed its synchronization context by then.
        session = new VekSession(server) { User = user, Rate = (5, 200) };
        session.StateChanged += (sender, e) => ShowState(e);
        session.Report += (sender, e) => ShowOrders();
        order.Click += (sender, e) => SendOrder();
        FormClosed += (sender, e) => session.Dispose();
    }

    protected override async void OnShown(EventArgs e)
    {
        base.OnShown(e);
        try
        {
            await session.OpenAsync(password);
            ShowOrders();
        }
        catch (VekSessionException failure) { state.Text = failure.Message; }
    }

    private void ShowState(VekEvent told)
    {
        state.Text = told.Describe();
        order.Enabled = told.State == VekState.Up;
    }

    private async void SendOrder()
    {
        VekFate fate = await session.SendAsync("new\nprod=TXF side=B qty=1 price=MKT");
        state.Text = fate.ToString();
        if (!fate.IsAnswered && !fate.SafeToRepeat) MessageBox.Show("Ask the server about " + fate.WorkId);
    }

    private async void ShowOrders()
    {
        try
        {
            using (VekResult result = await session.QueryAsync("orders", TimeSpan.FromSeconds(3))) Fill(result["orders"]);
        }
        catch (VekNotAnsweredException e) { state.Text = e.Message; }
    }

    private void Fill(VekTable table)
    {
        orders.BeginUpdate();
        orders.Clear();
        foreach (VekAttributes column in table.Columns) orders.Columns.Add(column.DisplayText, 70);
        foreach (VekRecord record in table)
        {
            var line = new string[record.Count];
            for (int i = 0; i < line.Length; ++i) line[i] = record[i];
            orders.Items.Add(new ListViewItem(line));
        }
        orders.EndUpdate();
    }

    [STAThread]
    private static void Main(string[] args)
    {
        Application.EnableVisualStyles();
        Application.Run(new Window(args.Length > 0 ? args[0] : "127.0.0.1:9000", args.Length > 1 ? args[1] : "trader",
                                   args.Length > 2 ? args[2] : "secret"));
    }
}
