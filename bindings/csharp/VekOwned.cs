// Base of clients, gates, senders and sessions: tracks their users, their deletion, and the end of the program.
//
// Mono does not exit while a thread it knows is inside native code: a thread of the library that has run an event, or a
// thread that waits for an event in Connect, Disconnect or Dispose. Because of the former, everything is deleted at the
// program's end. Because of the latter, do not call Environment.Exit in an event while another thread may wait for that
// event: have the event wake Main, and return from there.
//
// Mono may also hang if a thread waits for a contended monitor (`lock`) at the moment when Environment.Exit
// suspends it: both threads then hold what the other one needs. So no thread may still wait for a lock of
// ours when the program's end continues.
using System;
using System.Collections.Generic;
using System.Threading;

namespace VekApi
{
    /// <summary>
    /// Lives until Dispose, even without references to it. Objects may be disposed in any order, inside events, and
    /// while other threads call functions on them. Functions on a disposed object return false or 0.
    /// </summary>
    public abstract class VekOwned : IDisposable
    {
        private const int PatienceMs = 2000;  // at the program's end, for events running on other threads
        private static readonly HashSet<VekOwned> alive = new HashSet<VekOwned>();
        private static volatile bool ending;                        // guarded by the lock on `alive`, as is `inside`
        private static int guests;                                  // threads at the lock on `alive`, other than the one in End
        private static readonly HashSet<Thread> libraryThreads = new HashSet<Thread>();  // that have run events
        [ThreadStatic] private static int calls;                    // calls into the library in progress on this thread
        private readonly List<Thread> inside = new List<Thread>();  // threads in an event, or in a call that starts a session
        private readonly Thread loop;                               // thread whose message loop runs the events, or null
        private int users = 2;                                      // calls in progress, plus one until Made and one until Dispose
        private int disposed;

        static VekOwned()
        {
            AppDomain.CurrentDomain.ProcessExit += (sender, e) => End();
            AppDomain.CurrentDomain.UnhandledException += (sender, e) => { if (e.IsTerminating) End(); };
        }

        /// <summary>With onMessageLoop, events come on this thread.</summary>
        protected VekOwned(bool onMessageLoop)
        {
            if (onMessageLoop) loop = Thread.CurrentThread;
            if (Visit())
            {
                alive.Add(this);
                EndVisit();
            }
            else Dispose();
        }

        /// <summary>
        /// Deletes the object, or leaves that to the last thread inside one of its functions or events; no event starts
        /// afterwards. A second call does nothing.
        /// </summary>
        public virtual void Dispose()
        {
            if (Interlocked.Exchange(ref disposed, 1) == 0) LetGo();
        }

        /// <summary>
        /// For callers that pass Handle to functions of Vek while other threads may dispose the object or the program
        /// may end: after Hold() has returned true, the object is not deleted before LetGo().
        /// </summary>
        public bool Hold()
        {
            for (int now = Volatile.Read(ref users); now != 0;)
            {
                if (Volatile.Read(ref disposed) != 0) return false;
                int seen = Interlocked.CompareExchange(ref users, now + 1, now);
                if (seen == now) return true;
                now = seen;
            }
            return false;
        }

        /// <summary>Ends what Hold began.</summary>
        public void LetGo()
        {
            if (Interlocked.Decrement(ref users) != 0) return;
            Delete();
            Forget();  // not earlier: until then events may run, and need this object's delegates
        }

        /// <summary>Deletes the object of the library.</summary>
        protected abstract void Delete();

        /// <summary>
        /// Called at the program's end if the object is left to its thread: it must raise no further events.
        /// </summary>
        protected virtual void Quieten() {}

        /// <summary>
        /// Event arguments are borrowed from the object, which is not deleted before the event has returned.
        /// </summary>
        protected void Event(Action action)
        {
            if (calls == 0 && loop != Thread.CurrentThread && Visit())
            {
                if (libraryThreads.Add(Thread.CurrentThread)) libraryThreads.RemoveWhere(t => !t.IsAlive);
                EndVisit();
            }
            Call(() => LastEvent(action));
        }

        /// <summary>The event of an object that is being deleted.</summary>
        protected void LastEvent(Action action)
        {
            Begin(() =>
            {
                try { action(); }
                catch (Exception e) { Console.Error.WriteLine(e); }
                return true;
            });
        }

        /// <summary>Returns false and does nothing if the program is ending.</summary>
        protected bool Begin(Func<bool> action)
        {
            if (!Enter()) return false;
            ++calls;
            try { return action(); }
            finally
            {
                --calls;
                Leave();
            }
        }

        // The result of a function on the object; for a disposed one, that of a null handle.
        internal T Call<T>(Func<T> function)
        {
            if (!Hold()) return default(T);
            ++calls;
            try { return function(); }
            finally
            {
                LetGo();
                --calls;
            }
        }

        internal void Call(Action action)
        {
            if (!Hold()) return;
            ++calls;
            try { action(); }
            finally
            {
                LetGo();
                --calls;
            }
        }

        /// <summary>The object is complete; it may be disposed.</summary>
        protected void Made() { LetGo(); }

        /// <summary>
        /// The object is complete. If the program is ending, it or its client may already be disposed.
        /// </summary>
        protected void Made(IntPtr handle)
        {
            LetGo();
            if (handle != IntPtr.Zero || ending) return;
            Forget();
            throw new OutOfMemoryException("no memory, no window or no client for a " + GetType().Name);
        }

        private bool Enter()
        {
            if (!Visit()) return false;
            inside.Add(Thread.CurrentThread);
            EndVisit();
            return true;
        }

        private void Leave()
        {
            Visit(true);
            inside.Remove(Thread.CurrentThread);
            EndVisit();
        }

        // Locks `alive`. Returns false without the lock if the program is ending, unless this counts then too.
        private static bool Visit(bool evenThen = false)
        {
            Interlocked.Increment(ref guests);
            if (evenThen || !ending)
            {
                Monitor.Enter(alive);
                if (evenThen || !ending) return true;
                Monitor.Exit(alive);
            }
            Interlocked.Decrement(ref guests);
            return false;
        }

        private static void EndVisit()
        {
            Monitor.PulseAll(alive);
            Monitor.Exit(alive);
            Interlocked.Decrement(ref guests);
        }

        private void Forget()
        {
            if (!Visit()) return;
            alive.Remove(this);
            EndVisit();
        }

        private bool IsBusyElsewhere() { return inside.Exists(t => t != Thread.CurrentThread); }

        private bool BelongsElsewhere() { return loop != null && loop != Thread.CurrentThread && loop.IsAlive; }

        // When the runtime exits, no event may be about to start, and no library thread that has run one may be left.
        // Objects inside an event that does not return are left to the end of the process.
        private static void End()
        {
            DateTime until = DateTime.UtcNow.AddMilliseconds(PatienceMs);
            List<VekOwned> quiet;
            lock (alive)
            {
                if (ending) return;
                ending = true;
                WaitWhile(o => o.IsBusyElsewhere(), until);
                quiet = new List<VekOwned>(alive).FindAll(o => !o.IsBusyElsewhere());
            }
            foreach (VekOwned owned in quiet) owned.EndOne();
            lock (alive) WaitWhile(o => !o.BelongsElsewhere() && o.disposed != 0 && o.users != 0, until);
            WaitForLibraryThreads(until);
            // Only threads inside events can still enter.
            SpinWait.SpinUntil(() => Volatile.Read(ref guests) == 0, Left(until));
        }

        // Mono aborts if a thread it knows ends while it frees the program's memory.
        private static void WaitForLibraryThreads(DateTime until)
        {
            List<Thread> left;
            lock (alive) left = new List<Thread>(libraryThreads);
            left.Remove(Thread.CurrentThread);
            // Not Thread.Join: Mono would complain about a table of its own that it has not created yet.
            SpinWait.SpinUntil(() => !left.Exists(thread => thread.IsAlive), Left(until));
        }

        private static TimeSpan Left(DateTime until)
        {
            TimeSpan left = until - DateTime.UtcNow;
            return left > TimeSpan.Zero ? left : TimeSpan.Zero;
        }

        private void EndOne()
        {
            if (!BelongsElsewhere()) DisposeInside();
            else if (Hold())
            {
                Quieten();
                LetGo();
            }
        }

        // The events this thread is inside do not continue: the program ends in them.
        private void DisposeInside()
        {
            int holds;
            lock (alive) holds = inside.FindAll(t => t == Thread.CurrentThread).Count;
            Dispose();
            for (; holds > 0 && Volatile.Read(ref users) > 0; --holds) LetGo();
        }

        private static void WaitWhile(Predicate<VekOwned> any, DateTime until)
        {
            while (new List<VekOwned>(alive).Exists(any) && DateTime.UtcNow < until) Monitor.Wait(alive, 10);
        }
    }
}
