// A session that reconnects by itself and reports the fate of every request. VekSessionC.h documents its states, fates,
// reasons and times.
using System;
using System.Collections.Concurrent;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Threading;
using System.Threading.Tasks;

namespace VekApi
{
    /// <summary>
    /// Set its properties, then open it. Events are raised one at a time, in the synchronization context of the thread
    /// that created the session (Windows Forms, WPF), or else on a thread of the session. An exception in an event is
    /// written to standard error and dropped. All members may be used on any thread and in events. Cancelling the token
    /// of a task ends the wait (OperationCanceledException), not the operation; but see SendAsync.
    /// </summary>
    public sealed partial class VekSession : VekOwned
    {
        /// <summary>
        /// Settings without a property, to be changed before the session is opened. Texts, callback, delivery and size
        /// are ignored.
        /// </summary>
        public CVekSessionConfig Config;

        /// <summary>First part of the user identity.</summary>
        public string User { get; set; }
        /// <summary>Second part of the user identity.</summary>
        public string Id2 { get; set; }
        /// <summary>The application, for the server.</summary>
        public string ApName { get; set; }
        /// <summary>Four numbers, such as "1.0.0.0".</summary>
        public string ApVersion { get; set; }
        /// <summary>Prefix of generated work ids; up to 8 letters or digits.</summary>
        public string IdPrefix { get; set; }
        /// <summary>A query sent if nothing was received for half of Config.silenceMs.</summary>
        public string Probe { get; set; }
        /// <summary>How acknowledgements are assigned to requests.</summary>
        public VekAckRule Acks { get; set; }

        /// <summary>At most so many requests of code 129, the first number, within so many milliseconds, the second.</summary>
        public (int, int) Rate
        {
            // Names would make it a property that Mono's compiler cannot use from the compiled classes.
            get { return (Config.rateCount, Config.rateMs); }
            set
            {
                Config.rateCount = value.Item1;
                Config.rateMs = value.Item2;
                if (made) Check(Call(() => Vek.CVekSession_SetRate(ref handle, value.Item1, value.Item2)));
            }
        }

        /// <summary>The state changed.</summary>
        public event EventHandler<VekEvent> StateChanged;
        /// <summary>A report of the server.</summary>
        public event EventHandler<VekEvent> Report;
        /// <summary>An answer to a request whose fate had been reported.</summary>
        public event EventHandler<VekEvent> Late;
        /// <summary>A message that belongs to no request.</summary>
        public event EventHandler<VekEvent> Stray;
        /// <summary>A message of the wire (SetTrace).</summary>
        public event EventHandler<VekEvent> Trace;
        /// <summary>The fate of a resync query.</summary>
        public event EventHandler<VekEvent> Resynced;

        private readonly object pumping = new object();
        private readonly List<string> endpoints, resyncs = new List<string>();
        private readonly SynchronizationContext context = SynchronizationContext.Current;
        private readonly ConcurrentDictionary<ulong, TaskCompletionSource<VekFate>> waiting =
            new ConcurrentDictionary<ulong, TaskCompletionSource<VekFate>>();
        private readonly List<StateWaiter> stateWaiters = new List<StateWaiter>();
        private CVekSession handle;
        private Thread pump;
        private bool made;
        private volatile bool disposing;
        private long lastTag;
        private volatile VekState state;
        private volatile int statesTold;
        private VekEvent lastTold;  // the last state event
        private long before = NoLink;  // state events of links up to this one do not tell how OpenAsync goes
        private const long NoLink = -1;

        /// <summary>"HOST:PORT", or ":KIND:PARAMETERS" each; tried in turn.</summary>
        public VekSession(params string[] endpoints) : base(false)
        {
            this.endpoints = new List<string>(endpoints);
            Config.size = (uint)Marshal.SizeOf(typeof(CVekSessionConfig));
            Vek.CVekSession_Defaults(ref Config, Config.size);
            Made();
        }

        /// <summary>As of the last event.</summary>
        public VekState State { get { return state; } }

        /// <summary>Adds a query sent on every new link before the session is Up; Resynced brings its result.</summary>
        public void AddResync(string query)
        {
            if (made) Check(Call(() => Vek.CVekSession_AddResync(ref handle, VekText.Put(query))));
            else resyncs.Add(query);
        }

        /// <summary>"HOST:PORT", or ":KIND:PARAMETERS".</summary>
        public void AddEndpoint(string setting)
        {
            if (made) Check(Call(() => Vek.CVekSession_AddEndpoint(ref handle, VekText.Put(setting))));
            else endpoints.Add(setting);
        }

        /// <summary>Opens the session; the task ends when it is Up. VekSessionException when it is refused, stopped or
        /// closed.</summary>
        public Task OpenAsync(string password, CancellationToken token = default(CancellationToken))
        {
            token.ThrowIfCancellationRequested();
            lock (pumping)
            {
                if (!made) Make();
                SetPassword(password);
                VekState earlier = state;
                long last = SetBefore(Stats().links);
                state = VekState.Connecting;
                int reason = Call(() => Vek.CVekSession_Open(ref handle));
                if (reason != 0)
                {
                    state = earlier;
                    SetBefore(last);
                }
                Check(reason);
                if (pump == null) StartPump();
                return UpAsync(token);
            }
        }

        /// <summary>Ends when the session is Up. VekSessionException when it is refused, stopped or closed.</summary>
        public Task UpAsync(CancellationToken token = default(CancellationToken))
        {
            var up = new StateWaiter(e => Tells(e) && (IsEnd(e.State) ? throw End(e) : e.State == VekState.Up));
            lock (stateWaiters)
            {
                if (Tells(lastTold) && state == VekState.Up) return Task.FromResult(true);
                if (Tells(lastTold) && IsEnd(state)) throw End(lastTold);
                stateWaiters.Add(up);
            }
            return Until(up.Done.Task, token);
        }

        private bool Tells(VekEvent state) { return state == null || state.Link > Interlocked.Read(ref before); }

        private long SetBefore(long link) { return Interlocked.Exchange(ref before, link); }

        /// <summary>The password for later attempts, after a password change.</summary>
        public void SetPassword(string password)
        {
            Check(Call(() => Vek.CVekSession_SetPassword(ref handle, VekText.Put(password))));
        }

        /// <summary>
        /// Ends the session; waits at most so long for outstanding answers, in the state Draining. The task
        /// ends when it is Closed and all fates have been reported.
        /// </summary>
        public Task CloseAsync(TimeSpan drain = default(TimeSpan), CancellationToken token = default(CancellationToken))
        {
            if (!made || state == VekState.Closed) return Task.FromResult(true);
            var closed = new StateWaiter(e => e.State == VekState.Closed);
            lock (stateWaiters) stateWaiters.Add(closed);
            SetBefore(NoLink);
            Call(() => Vek.CVekSession_Close(ref handle, Ms(drain)));
            return Until(closed.Done.Task, token);
        }

        /// <summary>
        /// Sends a query, as soon as the rate allows, and returns its result. VekNotAnsweredException with its fate if it
        /// is not answered.
        /// </summary>
        public async Task<VekResult> QueryAsync(string text, TimeSpan answer = default(TimeSpan),
                                                CancellationToken token = default(CancellationToken))
        {
            token.ThrowIfCancellationRequested();
            Task<VekFate> asked = Submit(Vek.cvmc_TaskResult, text, null, answer, 0, token);
            VekFate fate = await Until(asked, token).ConfigureAwait(false);
            if (fate.Kind != VekFateKind.Answered) throw new VekNotAnsweredException(fate);
            return fate.Result;
        }

        /// <summary>
        /// Sends a request of code 129 and returns its fate, whatever it is. Cancelling the token withdraws the request
        /// while it is held (NeverSent, Withdrawn); once sent it cannot be withdrawn, and the task waits for its fate.
        /// </summary>
        /// <param name="text">Two lines.</param>
        /// <param name="hold">How long it may be held; null: as configured; zero: it is refused if it cannot be sent at
        /// once.</param>
        /// <param name="answer">How long to wait for its acknowledgement; zero: as configured.</param>
        /// <param name="flags">Vek.vsg_Urgent: precedes all held requests without it.</param>
        /// <param name="token">Withdraws it.</param>
        public Task<VekFate> SendAsync(string text, TimeSpan? hold = null, TimeSpan answer = default(TimeSpan),
                                       int flags = 0, CancellationToken token = default(CancellationToken))
        {
            return Submit(Vek.cvmc_RequestAck, text, hold, answer, flags, token);
        }

        /// <summary>
        /// The fate's text is the server's message for the user; it does not say whether the change succeeded.
        /// </summary>
        public Task<VekFate> ChangePasswordAsync(string user, string before, string after,
                                                 CancellationToken token = default(CancellationToken))
        {
            token.ThrowIfCancellationRequested();
            return Until(Enter((ref CVekReceipt receipt, ulong tag) => Vek.CVekSession_ChangePassword(
                ref handle, VekText.Put(user), VekText.Put(before), VekText.Put(after), tag, ref receipt),
                default(CancellationToken)), token);
        }

        /// <summary>In the state Waiting: makes the next attempt after this delay.</summary>
        public bool RetryIn(TimeSpan delay) { return Call(() => Vek.CVekSession_RetryIn(ref handle, Ms(delay)) == 0); }

        /// <summary>With Vek.vsc_ResyncByHand: the application has finished resyncing.</summary>
        public bool ResyncDone(uint link, bool good)
        {
            return Call(() => Vek.CVekSession_ResyncDone(ref handle, link, good) == 0);
        }

        /// <summary>A new work id, for programs that store it before they submit the request.</summary>
        public string NewWorkId()
        {
            byte[] id = new byte[32];
            Call(() => Vek.CVekSession_NewWorkId(ref handle, id));
            return VekText.Decode(id).TrimEnd('\0');
        }

        /// <summary>Counts since the session was first opened.</summary>
        public CVekSessionStats Stats()
        {
            var stats = new CVekSessionStats { size = (uint)Marshal.SizeOf(typeof(CVekSessionStats)), fates = new ulong[8] };
            Call(() => Vek.CVekSession_Stats(ref handle, ref stats));
            return stats;
        }

        /// <summary>0: off, 1: heads, 2: whole messages.</summary>
        public void SetTrace(int level) { Call(() => Vek.CVekSession_SetTrace(ref handle, level)); }

        /// <summary>
        /// Ends the session. All fates are reported before this returns, or, inside an event, soon after it.
        /// </summary>
        public override void Dispose()
        {
            SetBefore(NoLink);
            Call(() => Vek.CVekSession_Close(ref handle, 0));
            disposing = true;  // all remaining events are queued
            Thread running;
            lock (pumping) running = pump;
            if (running == Thread.CurrentThread) return;  // the thread reports the remaining events, then disposes
            if (running != null) running.Join();
            else AddToStreams(null);
            base.Dispose();
        }

        /// <summary>Deletes the session.</summary>
        protected override void Delete() { Vek.CVekSession_Delete(ref handle); }

        // Takes events until the session is closed. Returns from the library twice a second, because Mono
        // does not exit while a thread is inside native code.
        private void Pump()
        {
            var next = new CVekEvent { size = (uint)Marshal.SizeOf(typeof(CVekEvent)) };
            for (;;)
            {
                int came = Vek.CVekSession_Next(ref handle, disposing && state == VekState.Closed ? 0 : 500, ref next);
                if (came == 1) Tell(ref next);
                else if (disposing || came < 0) break;
            }
            AddToStreams(null);
            base.Dispose();
        }

        private void StartPump()
        {
            pump = new Thread(Pump) { IsBackground = true, Name = "vek-session" };
            pump.Start();
        }

        private void Tell(ref CVekEvent next)
        {
            var told = new VekEvent(ref handle, ref next);
            TaskCompletionSource<VekFate> waiter;
            if (told.Kind == VekEventKind.Fate && waiting.TryRemove(next.tag, out waiter))
            {
                waiter.SetResult(told.Fate());
                return;
            }
            AddToStreams(told);
            if (HandlerOf(told.Kind) != null) Raise(told);
            if (told.Kind == VekEventKind.State) TellWaiters(told);
        }

        private void Raise(VekEvent told)
        {
            Action raise = () => Event(() => HandlerOf(told.Kind)?.Invoke(this, told));
            if (context == null) raise();
            else context.Post(ignored => raise(), null);
        }

        // VekEventStream.cs; null: there will be no more.
        partial void AddToStreams(VekEvent told);

        private EventHandler<VekEvent> HandlerOf(VekEventKind kind)
        {
            switch (kind)
            {
                case VekEventKind.State: return StateChanged;
                case VekEventKind.Report: return Report;
                case VekEventKind.Late: return Late;
                case VekEventKind.Stray: return Stray;
                case VekEventKind.Trace: return Trace;
                case VekEventKind.Fate: return Resynced;
                default: return null;
            }
        }

        private void TellWaiters(VekEvent told)
        {
            List<StateWaiter> waiters;
            lock (stateWaiters)
            {
                lastTold = told;
                state = told.State;
                ++statesTold;
                waiters = new List<StateWaiter>(stateWaiters);
            }
            foreach (StateWaiter waiter in waiters.FindAll(w => w.Take(told)))
                lock (stateWaiters) stateWaiters.Remove(waiter);
        }

        private Task<VekFate> Submit(int code, string text, TimeSpan? hold, TimeSpan answer, int flags,
                                     CancellationToken token)
        {
            byte[] bytes = VekText.Encode(text);
            var request = new CVekSubmit { size = (uint)Marshal.SizeOf(typeof(CVekSubmit)), code = code,
                                           mode = hold == TimeSpan.Zero ? Vek.vsm_Try : Vek.vsm_Hold,
                                           flags = (uint)flags, textLength = (uint)bytes.Length,
                                           holdMs = Ms(hold ?? TimeSpan.Zero), answerMs = Ms(answer) };
            GCHandle pinned = GCHandle.Alloc(bytes, GCHandleType.Pinned);
            try
            {
                request.text = pinned.AddrOfPinnedObject();
                return Enter((ref CVekReceipt receipt, ulong tag) =>
                {
                    request.tag = tag;
                    return Vek.CVekSession_Submit(ref handle, ref request, ref receipt);
                }, token);
            }
            finally { pinned.Free(); }
        }

        private delegate int Submitting(ref CVekReceipt receipt, ulong tag);

        private Task<VekFate> Enter(Submitting submit, CancellationToken token)
        {
            var receipt = new CVekReceipt { size = (uint)Marshal.SizeOf(typeof(CVekReceipt)), workId = new byte[32] };
            var waiter = new TaskCompletionSource<VekFate>(TaskCreationOptions.RunContinuationsAsynchronously);
            ulong tag = (ulong)Interlocked.Increment(ref lastTag);
            waiting[tag] = waiter;
            int told = statesTold;
            int reason = made && Hold() ? Held(submit, ref receipt, tag) : Vek.vsr_NotUp;
            string workId = VekText.Decode(receipt.workId).TrimEnd('\0');
            if (reason == 0) return Cancellable(waiter.Task, receipt.ticket, token);
            waiting.TryRemove(tag, out waiter);
            if (reason == Vek.vsr_NotUp) ExpectState(told);
            return Task.FromResult(new VekFate { Kind = VekFateKind.Refused, Reason = (VekReason)reason,
                                                 WorkId = workId, Text = "", Detail = "", Link = receipt.link,
                                                 Wait = TimeSpan.FromMilliseconds(receipt.waitMs) });
        }

        // The session is no longer up: a state event must follow, unless it has been taken since `told`.
        private void ExpectState(int told)
        {
            lock (stateWaiters)
                if (told == statesTold && state == VekState.Up) state = VekState.Waiting;
        }

        private int Held(Submitting submit, ref CVekReceipt receipt, ulong tag)
        {
            try { return submit(ref receipt, tag); }
            finally { LetGo(); }
        }

        private async Task<VekFate> Cancellable(Task<VekFate> fate, ulong ticket, CancellationToken token)
        {
            using (token.Register(() => Call(() => Vek.CVekSession_Withdraw(ref handle, ticket))))
                return await fate.ConfigureAwait(false);
        }

        private void Make()
        {
            var texts = new[] {ApName, ApVersion, User, Id2, IdPrefix, Probe};
            var pinned = Array.ConvertAll(texts, t => GCHandle.Alloc(VekText.Put(t), GCHandleType.Pinned));
            CVekSessionConfig config = Config;
            if (ApName != null) config.apName = pinned[0].AddrOfPinnedObject();
            if (ApVersion != null) config.apVersion = pinned[1].AddrOfPinnedObject();
            config.id1 = pinned[2].AddrOfPinnedObject();
            config.id2 = pinned[3].AddrOfPinnedObject();
            config.idPrefix = pinned[4].AddrOfPinnedObject();
            config.probe = pinned[5].AddrOfPinnedObject();
            config.delivery = Vek.vsd_Poll;
            config.ackRule = (int)Acks;
            config.onEvent = null;
            int reason;
            handle = Vek.CVekSession_Create(ref config, out reason);
            Array.ForEach(pinned, p => p.Free());
            Check(handle.Object == IntPtr.Zero ? reason : 0);
            made = true;
            endpoints.ForEach(AddEndpoint);
            resyncs.ForEach(AddResync);
        }

        private static bool IsEnd(VekState state)
        {
            return state == VekState.Refused || state == VekState.Stopped || state == VekState.Closed;
        }

        private static VekSessionException End(VekEvent told)
        {
            return told == null ? new VekSessionException(VekReason.NotUp) : new VekSessionException(told.Reason, told.Detail);
        }

        private static void Check(int reason)
        {
            if (reason != 0) throw new VekSessionException((VekReason)reason);
        }

        // A time that is over already counts as short.
        private static uint Ms(TimeSpan time)
        {
            if (time == Timeout.InfiniteTimeSpan) return uint.MaxValue;
            return time < TimeSpan.Zero ? 1 : (uint)Math.Min(Math.Ceiling(time.TotalMilliseconds), int.MaxValue);
        }

        private static async Task<T> Until<T>(Task<T> task, CancellationToken token)
        {
            var cancelled = new TaskCompletionSource<T>(TaskCreationOptions.RunContinuationsAsynchronously);
            using (token.Register(() => cancelled.TrySetCanceled()))
                return await (await Task.WhenAny(task, cancelled.Task).ConfigureAwait(false)).ConfigureAwait(false);
        }

        // A task completed by a state event.
        private sealed class StateWaiter
        {
            public readonly TaskCompletionSource<bool> Done =
                new TaskCompletionSource<bool>(TaskCreationOptions.RunContinuationsAsynchronously);
            private readonly Func<VekEvent, bool> ends;

            public StateWaiter(Func<VekEvent, bool> ends) { this.ends = ends; }

            public bool Take(VekEvent told)
            {
                try
                {
                    if (!ends(told)) return false;
                    Done.TrySetResult(true);
                }
                catch (VekSessionException e) { Done.TrySetException(e); }
                return true;
            }
        }
    }
}
