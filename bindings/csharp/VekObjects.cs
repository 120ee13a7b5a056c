// Clients, gates and senders as objects: they keep their delegates alive, catch exceptions from events, and are closed
// when the program ends. An exception in an event is written to standard error and dropped.
using System;
using System.Runtime.InteropServices;

namespace VekApi
{
    // One session with an order-routing server. Events run on the library's threads or, with onMessageLoop, on the
    // creating thread, in its message loop (Windows Forms, WPF). Use Handle for the other functions of Vek.
    public abstract class VekClient : VekOwned
    {
        public CVekClient Handle;
        private readonly CVekClientCallbacks callbacks;  // keeps the delegates alive

        protected VekClient(bool onMessageLoop = false) : base(onMessageLoop)
        {
            callbacks = Callbacks();
            CVekClientCallbacks table = callbacks;
            Handle = onMessageLoop ? Vek.CVekClient_Create_OnMessageLoop(ref table, IntPtr.Zero)
                                   : Vek.CVekClient_Create(ref table, IntPtr.Zero);
            Made(Handle.Object);
        }

        // Event arguments are borrowed until the event returns.
        protected virtual void OnUnknown(int code, byte[] packet) {}
        protected virtual void OnConnect(int state, string reason) {}
        protected virtual void OnReady() {}
        protected virtual void OnTaskResult(CVekTaskResult result) {}
        protected virtual void OnPassword(string user, string answer) {}
        protected virtual void OnAck(int code, IntPtr text) {}  // pass to VekSender.Ack or VekText.Get
        protected virtual void OnReport(string report) {}
        protected virtual void OnDestroy() {}

        public int State { get { return Call(() => Vek.CVekClient_State(ref Handle)); } }
        public bool Connected { get { return Call(() => Vek.CVekClient_IsSessionConnected(ref Handle)); } }

        // For OnReady: borrowed until it returns.
        public CVekTaskResult SignOnResult { get { return Vek.CVekClient_SgnResult(ref Handle); } }

        // True if the attempt was started; OnConnect reports its outcome.
        public bool Connect(string setting, string apName, string apVersion, string id1, string id2, string password)
        {
            return Begin(() => Call(() => Vek.CVekClient_Connect(
                ref Handle, VekText.Put(setting), VekText.Put(apName), VekText.Put(apVersion), VekText.Put(id1),
                VekText.Put(id2), VekText.Put(password))));
        }

        public void Disconnect()
        {
            Begin(() => Call(() =>
            {
                Vek.CVekClient_Disconnect(ref Handle);
                return true;
            }));
        }

        // Code 128: a query; false also if the query rate is used up.
        public bool Send(int code, string request)
        {
            byte[] buffer = VekText.Request(request);
            if (!Hold()) return false;
            try { return Vek.CVekClient_SendVekRequest(ref Handle, code, buffer, (uint)buffer.Length); }
            finally { LetGo(); }
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
                OnVekClientDestroyEvent = (ref CVekClient c, IntPtr u) => LastEvent(OnDestroy),
            };
        }

        private static byte[] Bytes(IntPtr packet, int length)
        {
            byte[] bytes = new byte[length];
            Marshal.Copy(packet, bytes, 0, length);
            return bytes;
        }
    }

    // Tells when a request may be sent. After CallWhenFree, OnFree is called once the gate is open: on the creating
    // thread, in its message loop; or else inside functions on the gate and on the library's timer thread, where it
    // must not connect, disconnect or dispose a client, or end the program.
    public abstract class VekGate : VekOwned
    {
        public CVekFlowCtrl Handle;
        private readonly CVekFlowCtrlCallbacks callbacks;

        protected VekGate(bool onMessageLoop = false) : base(onMessageLoop)
        {
            callbacks.OnVekFlowCtrlFree = (ref CVekFlowCtrl gate, IntPtr user) => Event(OnFree);
            CVekFlowCtrlCallbacks table = callbacks;
            Handle = onMessageLoop ? Vek.CVekFlowCtrl_Create_OnMessageLoop(ref table, IntPtr.Zero)
                                   : Vek.CVekFlowCtrl_Create(ref table, IntPtr.Zero);
            Made(Handle.Object);
        }

        protected abstract void OnFree();

        // At most `count` requests within `ms` milliseconds; if either is below 1, no limit.
        public void SetRate(int count, int ms) { Call(() => Vek.CVekFlowCtrl_SetFlowCtrl(ref Handle, count, ms)); }

        // True if a request may be sent now; it counts as sent.
        public bool Take()
        {
            if (!Hold()) return false;
            try { return Vek.CVekFlowCtrl_CheckFlowCtrl(ref Handle) == 0; }
            finally { LetGo(); }
        }

        public void Acknowledged(uint count) { Call(() => Vek.CVekFlowCtrl_SetAckTime(ref Handle, count)); }
        public void CallWhenFree() { Call(() => Vek.CVekFlowCtrl_StartCheckTimer(ref Handle)); }

        protected override void Delete() { Vek.CVekFlowCtrl_Delete(ref Handle); }
        protected override void Quieten() { Vek.CVekFlowCtrl_Clear(ref Handle); }
    }

    // Sends requests of code 129 at the rate set, and holds the others.
    public sealed class VekSender : VekOwned
    {
        public CVekFlowCtrlSender Handle;

        public VekSender(VekClient client) : base(false)
        {
            client.Call(() => Handle = Vek.CVekFlowCtrlSender_Create(ref client.Handle));
            Made(Handle.Object);
        }

        public void SetRate(int count, int ms) { Call(() => Vek.CVekFlowCtrlSender_SetFlowCtrl(ref Handle, count, ms)); }
        public uint Pending { get { return Call(() => Vek.CVekFlowCtrlSender_PendingCount(ref Handle)); } }

        // Call it with the arguments of VekClient.OnAck: frees slots for held requests.
        public void Ack(int code, IntPtr text) { Call(() => Vek.CVekFlowCtrlSender_AckParser(ref Handle, code, text)); }

        // Sends one request of two lines; false if it is held.
        public bool Send(string request)
        {
            byte[] buffer = VekText.Request(request);
            if (!Hold()) return false;
            try { return Vek.CVekFlowCtrlSender_SendVekRequest(ref Handle, buffer, (uint)buffer.Length); }
            finally { LetGo(); }
        }

        protected override void Delete() { Vek.CVekFlowCtrlSender_Delete(ref Handle); }
    }
}
