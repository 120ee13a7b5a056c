// Clients, gates and senders as objects: they keep their delegates alive, let no exception into the library, and are
// closed when the program ends while they live. An exception in an event is written to standard error and dropped.
//
// A program may end inside an event. With Mono no other thread may then be waiting for that event, in Connect, Disconnect
// or Dispose: Mono waits for that thread.
using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Threading;

namespace VekApi
{
    // Lives until Dispose, also when nobody refers to it any more; objects may be disposed in any order, inside events
    // too, but not while another thread calls functions on the same object.
    public abstract class VekOwned : IDisposable
    {
        private const int PatienceMs = 2000;  // at the program's end, for events that run on other threads
        private static readonly HashSet<VekOwned> alive = new HashSet<VekOwned>();  // its lock guards what follows
        private static bool ending;
        private bool deleted;
        private readonly List<Thread> inside = new List<Thread>();  // an event, or a call that begins a session

        static VekOwned()
        {
            AppDomain.CurrentDomain.ProcessExit += (sender, e) => End();
            AppDomain.CurrentDomain.UnhandledException += (sender, e) => { if (e.IsTerminating) End(); };
        }

        protected VekOwned()
        {
            lock (alive) alive.Add(this);
        }

        // Deletes the object; no event comes afterwards. A second call does nothing.
        public void Dispose()
        {
            lock (alive)
            {
                if (deleted) return;
                deleted = true;
            }
            Delete();
            lock (alive) alive.Remove(this);  // not before: events may run until then, with the delegates of this
        }

        protected abstract void Delete();

        // At the program's end, when other threads may still call functions on it.
        protected virtual void Quieten() { Delete(); }

        protected void Event(Action action)
        {
            Begin(() =>
            {
                try { action(); }
                catch (Exception e) { Console.Error.WriteLine(e); }
                return true;
            });
        }

        // False, with nothing done, when the program is ending.
        protected bool Begin(Func<bool> action)
        {
            if (!Enter()) return false;
            try { return action(); }
            finally { Leave(); }
        }

        protected IntPtr Made(IntPtr handle)
        {
            if (handle != IntPtr.Zero) return handle;
            lock (alive) alive.Remove(this);
            throw new OutOfMemoryException("no memory, or no window, for a " + GetType().Name);
        }

        private bool Enter()
        {
            lock (alive)
            {
                if (ending) return false;
                inside.Add(Thread.CurrentThread);
                return true;
            }
        }

        private void Leave()
        {
            lock (alive)
            {
                inside.Remove(Thread.CurrentThread);
                Monitor.PulseAll(alive);
            }
        }

        // No event may be about to come when the runtime goes. What is inside an event that does not return is left
        // to the end of the process.
        private static void End()
        {
            List<VekOwned> quiet = new List<VekOwned>();
            lock (alive)
            {
                if (ending) return;
                ending = true;
                DateTime until = DateTime.UtcNow.AddMilliseconds(PatienceMs);
                Func<VekOwned, bool> elsewhere = o => o.inside.Exists(t => t != Thread.CurrentThread);
                while (new List<VekOwned>(alive).Exists(o => elsewhere(o)) && DateTime.UtcNow < until)
                    Monitor.Wait(alive, 100);
                foreach (VekOwned owned in alive)
                    if (!owned.deleted && !elsewhere(owned)) quiet.Add(owned);
            }
            foreach (VekOwned owned in quiet) owned.Quieten();
        }
    }

    // One session with an order-routing server. Events come on threads of the library, or, with onMessageLoop, on the
    // thread that made the client, in its message loop (Windows Forms, WPF). The other functions of Vek take Handle.
    public abstract class VekClient : VekOwned
    {
        public CVekClient Handle;
        private readonly CVekClientCallbacks callbacks;  // keeps the delegates alive

        protected VekClient(bool onMessageLoop = false)
        {
            callbacks = Callbacks();
            CVekClientCallbacks table = callbacks;
            Handle = onMessageLoop ? Vek.CVekClient_Create_OnMessageLoop(ref table, IntPtr.Zero)
                                   : Vek.CVekClient_Create(ref table, IntPtr.Zero);
            Made(Handle.Object);
        }

        // What an event brings is lent until it returns.
        protected virtual void OnUnknown(int code, byte[] packet) {}
        protected virtual void OnConnect(int state, string reason) {}
        protected virtual void OnReady() {}
        protected virtual void OnTaskResult(CVekTaskResult result) {}
        protected virtual void OnPassword(string user, string answer) {}
        protected virtual void OnAck(int code, IntPtr text) {}  // for VekSender.Ack, and VekText.Get
        protected virtual void OnReport(string report) {}
        protected virtual void OnDestroy() {}

        public int State { get { return Vek.CVekClient_State(ref Handle); } }
        public bool Connected { get { return Vek.CVekClient_IsSessionConnected(ref Handle); } }
        public CVekTaskResult SignOnResult { get { return Vek.CVekClient_SgnResult(ref Handle); } }

        // True when a session was begun; OnConnect tells how it goes on.
        public bool Connect(string setting, string apName, string apVersion, string id1, string id2, string password)
        {
            return Begin(() => Vek.CVekClient_Connect(
                ref Handle, VekText.Put(setting), VekText.Put(apName), VekText.Put(apVersion), VekText.Put(id1),
                VekText.Put(id2), VekText.Put(password)));
        }

        public void Disconnect() { Vek.CVekClient_Disconnect(ref Handle); }

        // Code 128: a query; false also when the server's rate is used up.
        public bool Send(int code, string request)
        {
            byte[] buffer = VekText.Request(request);
            return Vek.CVekClient_SendVekRequest(ref Handle, code, buffer, (uint)buffer.Length);
        }

        protected override void Delete() { Vek.CVekClient_Delete(ref Handle); }
        protected override void Quieten() { Vek.CVekClient_Disconnect(ref Handle); }

        private CVekClientCallbacks Callbacks()
        {
            return new CVekClientCallbacks
            {
                OnVekUnknownMsgCodeEvent = (ref CVekClient c, IntPtr u, int code, IntPtr packet, int length) =>
                    Event(() => OnUnknown(code, Bytes(packet, length))),
                OnVekConnectEvent = (ref CVekClient c, IntPtr u, IntPtr reason) =>
                    Event(() => OnConnect(State, VekText.Get(reason))),
                OnVekApReadyEvent = (ref CVekClient c, IntPtr u) => Event(OnReady),
                OnVekTaskResultEvent = (ref CVekClient c, IntPtr u, ref CVekTaskResult result) =>
                {
                    CVekTaskResult lent = result;
                    Event(() => OnTaskResult(lent));
                },
                OnVekChgPassResultEvent = (ref CVekClient c, IntPtr u, IntPtr user, IntPtr answer) =>
                    Event(() => OnPassword(VekText.Get(user), VekText.Get(answer))),
                OnVekRequestAckEvent = (ref CVekClient c, IntPtr u, int code, IntPtr text) =>
                    Event(() => OnAck(code, text)),
                OnVekReportEvent = (ref CVekClient c, IntPtr u, IntPtr report) =>
                    Event(() => OnReport(VekText.Get(report))),
                OnVekClientDestroyEvent = (ref CVekClient c, IntPtr u) => Event(OnDestroy),
            };
        }

        private static byte[] Bytes(IntPtr packet, int length)
        {
            byte[] bytes = new byte[length];
            Marshal.Copy(packet, bytes, 0, length);
            return bytes;
        }
    }

    // Calls OnFree when a request may go again, after Vek.CVekFlowCtrl_StartCheckTimer(ref gate.Handle).
    public abstract class VekGate : VekOwned
    {
        public CVekFlowCtrl Handle;
        private readonly CVekFlowCtrlCallbacks callbacks;

        protected VekGate(bool onMessageLoop = false)
        {
            callbacks.OnVekFlowCtrlFree = (ref CVekFlowCtrl gate, IntPtr user) => Event(OnFree);
            CVekFlowCtrlCallbacks table = callbacks;
            Handle = onMessageLoop ? Vek.CVekFlowCtrl_Create_OnMessageLoop(ref table, IntPtr.Zero)
                                   : Vek.CVekFlowCtrl_Create(ref table, IntPtr.Zero);
            Made(Handle.Object);
        }

        protected abstract void OnFree();
        protected override void Delete() { Vek.CVekFlowCtrl_Delete(ref Handle); }
        protected override void Quieten() { Vek.CVekFlowCtrl_Clear(ref Handle); }
    }

    // Sends requests of code 129 no faster than set, and holds the others.
    public sealed class VekSender : VekOwned
    {
        public CVekFlowCtrlSender Handle;

        public VekSender(VekClient client)
        {
            Handle = Vek.CVekFlowCtrlSender_Create(ref client.Handle);
            Made(Handle.Object);
        }

        public void SetRate(int count, int ms) { Vek.CVekFlowCtrlSender_SetFlowCtrl(ref Handle, count, ms); }
        public uint Pending { get { return Vek.CVekFlowCtrlSender_PendingCount(ref Handle); } }

        // With what VekClient.OnAck brought: now the sender knows what it may send next.
        public void Ack(int code, IntPtr text) { Vek.CVekFlowCtrlSender_AckParser(ref Handle, code, text); }

        // One request of two lines; false when it is held.
        public bool Send(string request)
        {
            byte[] buffer = VekText.Request(request);
            return Vek.CVekFlowCtrlSender_SendVekRequest(ref Handle, buffer, (uint)buffer.Length);
        }

        protected override void Delete() { Vek.CVekFlowCtrlSender_Delete(ref Handle); }
        protected override void Quieten() {}
    }
}
