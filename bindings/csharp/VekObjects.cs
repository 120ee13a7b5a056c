// Clients, gates and senders as objects: they keep their delegates alive, catch exceptions from events, and are closed
// when the program ends. An exception in an event is written to standard error and dropped.
using System;
using System.Runtime.InteropServices;

namespace VekApi
{
    /// <summary>
    /// One session with an order-routing server. Events run on the library's threads or, with onMessageLoop, on the
    /// creating thread, in its message loop (Windows Forms, WPF). Use Handle for the other functions of Vek.
    /// </summary>
    public abstract class VekClient : VekOwned
    {
        /// <summary>For functions of Vek: between Hold and LetGo.</summary>
        public CVekClient Handle;
        private readonly CVekClientCallbacks callbacks;  // keeps the delegates alive

        /// <summary>OutOfMemoryException also if this thread can have no message loop.</summary>
        protected VekClient(bool onMessageLoop = false) : base(onMessageLoop)
        {
            callbacks = Callbacks();
            CVekClientCallbacks table = callbacks;
            Handle = onMessageLoop ? Vek.CVekClient_Create_OnMessageLoop(ref table, IntPtr.Zero)
                                   : Vek.CVekClient_Create(ref table, IntPtr.Zero);
            Made(Handle.Object);
        }

        // Event arguments are borrowed until the event returns.
        /// <summary>A message of a code that the library does not know.</summary>
        protected virtual void OnUnknown(int code, byte[] packet) {}
        /// <summary>The state changed: Vek.cvcs_...</summary>
        protected virtual void OnConnect(int state, string reason) {}
        /// <summary>Signed on: requests may be sent.</summary>
        protected virtual void OnReady() {}
        /// <summary>The answer to a query; VekResult.Lent reads it.</summary>
        protected virtual void OnTaskResult(CVekTaskResult result) {}
        /// <summary>The answer to a password change, for display.</summary>
        protected virtual void OnPassword(string user, string answer) {}
        /// <summary>An acknowledgement: pass it to VekSender.Ack, and its text to VekText.Get.</summary>
        protected virtual void OnAck(int code, IntPtr text) {}
        /// <summary>A report of the server.</summary>
        protected virtual void OnReport(string report) {}
        /// <summary>The last event: the client is being deleted.</summary>
        protected virtual void OnDestroy() {}

        /// <summary>Vek.cvcs_...</summary>
        public int State { get { return Call(() => Vek.CVekClient_State(ref Handle)); } }
        /// <summary>Whether there is a link, signed on or not.</summary>
        public bool Connected { get { return Call(() => Vek.CVekClient_IsSessionConnected(ref Handle)); } }

        /// <summary>For OnReady: borrowed until it returns.</summary>
        public CVekTaskResult SignOnResult { get { return Vek.CVekClient_SgnResult(ref Handle); } }

        /// <summary>True if the attempt was started; OnConnect reports its outcome.</summary>
        public bool Connect(string setting, string apName, string apVersion, string id1, string id2, string password)
        {
            return Begin(() => Call(() => Vek.CVekClient_Connect(
                ref Handle, VekText.Put(setting), VekText.Put(apName), VekText.Put(apVersion), VekText.Put(id1),
                VekText.Put(id2), VekText.Put(password))));
        }

        /// <summary>Ends the session; OnConnect reports it.</summary>
        public void Disconnect()
        {
            Begin(() => Call(() =>
            {
                Vek.CVekClient_Disconnect(ref Handle);
                return true;
            }));
        }

        /// <summary>Code 128: a query; false also if the query rate is used up.</summary>
        public bool Send(int code, string request)
        {
            byte[] buffer = VekText.Request(request);
            if (!Hold()) return false;
            try { return Vek.CVekClient_SendVekRequest(ref Handle, code, buffer, (uint)buffer.Length); }
            finally { LetGo(); }
        }

        /// <summary>Deletes the client.</summary>
        protected override void Delete() { Vek.CVekClient_Delete(ref Handle); }
        /// <summary>Ends the session.</summary>
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

    /// <summary>
    /// Tells when a request may be sent. After CallWhenFree, OnFree is called once the gate is open: on the creating
    /// thread, in its message loop; or else inside functions on the gate and on the library's timer thread, where it
    /// must not connect, disconnect or dispose a client, or end the program.
    /// </summary>
    public abstract class VekGate : VekOwned
    {
        /// <summary>For functions of Vek: between Hold and LetGo.</summary>
        public CVekFlowCtrl Handle;
        private readonly CVekFlowCtrlCallbacks callbacks;

        /// <summary>OutOfMemoryException also if this thread can have no message loop.</summary>
        protected VekGate(bool onMessageLoop = false) : base(onMessageLoop)
        {
            callbacks.OnVekFlowCtrlFree = (ref CVekFlowCtrl gate, IntPtr user) => Event(OnFree);
            CVekFlowCtrlCallbacks table = callbacks;
            Handle = onMessageLoop ? Vek.CVekFlowCtrl_Create_OnMessageLoop(ref table, IntPtr.Zero)
                                   : Vek.CVekFlowCtrl_Create(ref table, IntPtr.Zero);
            Made(Handle.Object);
        }

        /// <summary>A request may be sent, unless others sent one first.</summary>
        protected abstract void OnFree();

        /// <summary>At most `count` requests within `ms` milliseconds; if either is below 1, no limit.</summary>
        public void SetRate(int count, int ms) { Call(() => Vek.CVekFlowCtrl_SetFlowCtrl(ref Handle, count, ms)); }

        /// <summary>True if a request may be sent now; it counts as sent.</summary>
        public bool Take()
        {
            if (!Hold()) return false;
            try { return Vek.CVekFlowCtrl_CheckFlowCtrl(ref Handle) == 0; }
            finally { LetGo(); }
        }

        /// <summary>Reports that so many requests were acknowledged.</summary>
        public void Acknowledged(uint count) { Call(() => Vek.CVekFlowCtrl_SetAckTime(ref Handle, count)); }
        /// <summary>Calls OnFree when a request may be sent, at once or later; not without a rate.</summary>
        public void CallWhenFree() { Call(() => Vek.CVekFlowCtrl_StartCheckTimer(ref Handle)); }

        /// <summary>Deletes the gate.</summary>
        protected override void Delete() { Vek.CVekFlowCtrl_Delete(ref Handle); }
        /// <summary>Removes the rate.</summary>
        protected override void Quieten() { Vek.CVekFlowCtrl_Clear(ref Handle); }
    }

    /// <summary>Sends requests of code 129 at the rate set, and holds the others.</summary>
    public sealed class VekSender : VekOwned
    {
        /// <summary>For functions of Vek: between Hold and LetGo.</summary>
        public CVekFlowCtrlSender Handle;

        /// <summary>Sends over this client, which it may outlive.</summary>
        public VekSender(VekClient client) : base(false)
        {
            client.Call(() => Handle = Vek.CVekFlowCtrlSender_Create(ref client.Handle));
            Made(Handle.Object);
        }

        /// <summary>As VekGate.SetRate.</summary>
        public void SetRate(int count, int ms) { Call(() => Vek.CVekFlowCtrlSender_SetFlowCtrl(ref Handle, count, ms)); }
        /// <summary>Number of held requests.</summary>
        public uint Pending { get { return Call(() => Vek.CVekFlowCtrlSender_PendingCount(ref Handle)); } }

        /// <summary>Call it with the arguments of VekClient.OnAck: frees slots for held requests.</summary>
        public void Ack(int code, IntPtr text) { Call(() => Vek.CVekFlowCtrlSender_AckParser(ref Handle, code, text)); }

        /// <summary>Sends one request of two lines; false if it is held.</summary>
        public bool Send(string request)
        {
            byte[] buffer = VekText.Request(request);
            if (!Hold()) return false;
            try { return Vek.CVekFlowCtrlSender_SendVekRequest(ref Handle, buffer, (uint)buffer.Length); }
            finally { LetGo(); }
        }

        /// <summary>Deletes the sender; what is held is dropped.</summary>
        protected override void Delete() { Vek.CVekFlowCtrlSender_Delete(ref Handle); }
    }
}
