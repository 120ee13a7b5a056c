// What clients, gates and senders have in common: who uses one, when it is deleted, and the end of the program.
//
// Mono does not end while a thread that it knows is inside native code: one of the library that has run an event, until it
// has ended, or one that waits for an event in Connect, Disconnect or Dispose. The first is why everything is deleted at
// the program's end. Because of the second, do not call Environment.Exit in an event while another thread may wait for that
// event: have the event wake Main, which returns.
using System;
using System.Collections.Generic;
using System.Threading;

namespace VekApi
{
    // Lives until Dispose, also when nobody refers to it any more; objects may be disposed in any order, inside events and
    // while other threads call functions on them. Functions on a disposed one answer false or 0.
    public abstract class VekOwned : IDisposable
    {
        private const int PatienceMs = 2000;  // at the program's end, for events that run on other threads
        private static readonly HashSet<VekOwned> alive = new HashSet<VekOwned>();
        private static volatile bool ending;                        // with `alive` locked, as `inside`
        private readonly List<Thread> inside = new List<Thread>();  // an event, or a call that begins a session
        private readonly Thread loop;                               // whose message loop brings the events, or null
        private int users = 2;                                      // calls; one until Made, and one until Dispose
        private int disposed;

        static VekOwned()
        {
            AppDomain.CurrentDomain.ProcessExit += (sender, e) => End();
            AppDomain.CurrentDomain.UnhandledException += (sender, e) => { if (e.IsTerminating) End(); };
        }

        protected VekOwned(bool onMessageLoop)
        {
            if (onMessageLoop) loop = Thread.CurrentThread;
            lock (alive)
            {
                alive.Add(this);
                if (ending) Dispose();
            }
        }

        // Deletes the object, or lets the last thread do so that is inside a function or an event of it; no event begins
        // afterwards. A second call does nothing.
        public void Dispose()
        {
            if (Interlocked.Exchange(ref disposed, 1) == 0) LetGo();
        }

        // For who calls functions of Vek with Handle himself while other threads may dispose the object, or the program may
        // end: after Hold() has answered true it is not deleted before LetGo().
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

        public void LetGo()
        {
            if (Interlocked.Decrement(ref users) != 0) return;
            Delete();
            lock (alive)
            {
                alive.Remove(this);  // not before: events may run until then, with the delegates of this
                Monitor.PulseAll(alive);
            }
        }

        protected abstract void Delete();

        // At the program's end, when the object is left to its thread: nothing is to come of it any more.
        protected virtual void Quieten() {}

        // What an event brings is lent by the object, which lives until the event has returned.
        protected void Event(Action action) { Call(() => LastEvent(action)); }

        protected void LastEvent(Action action)
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

        // What a function on the object answers; of a disposed one, what functions answer of a null handle.
        internal T Call<T>(Func<T> function)
        {
            if (!Hold()) return default(T);
            try { return function(); }
            finally { LetGo(); }
        }

        internal void Call(Action action)
        {
            if (!Hold()) return;
            try { action(); }
            finally { LetGo(); }
        }

        // The object is complete. While the program is ending it may be disposed by now, or its client be.
        protected void Made(IntPtr handle)
        {
            LetGo();
            if (handle != IntPtr.Zero || ending) return;
            lock (alive) alive.Remove(this);
            throw new OutOfMemoryException("no memory, no window or no client for a " + GetType().Name);
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

        private bool IsBusyElsewhere() { return inside.Exists(t => t != Thread.CurrentThread); }

        private bool BelongsElsewhere() { return loop != null && loop != Thread.CurrentThread && loop.IsAlive; }

        // No event may be about to come when the runtime goes, and no thread of the library be left that has run one. What
        // is inside an event that does not return is left to the end of the process.
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

        // The events that this thread is inside do not go on: the program ends in them.
        private void DisposeInside()
        {
            int holds;
            lock (alive) holds = inside.FindAll(t => t == Thread.CurrentThread).Count;
            Dispose();
            for (; holds > 0 && Volatile.Read(ref users) > 0; --holds) LetGo();
        }

        private static void WaitWhile(Predicate<VekOwned> any, DateTime until)
        {
            while (new List<VekOwned>(alive).Exists(any) && DateTime.UtcNow < until) Monitor.Wait(alive, 100);
        }
    }
}
