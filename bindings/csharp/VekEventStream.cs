// The events of a session as an asynchronous stream, where the platform has IAsyncEnumerable.
#if NETSTANDARD2_1_OR_GREATER || NETCOREAPP3_0_OR_GREATER
using System.Collections.Generic;
using System.Threading;
using System.Threading.Tasks;

namespace VekApi
{
    public sealed partial class VekSession
    {
        private readonly List<Stream> streams = new List<Stream>();
        private bool over;  // guarded by the lock on `streams`

        /// <summary>
        /// All events from this call on, except fates that a task reports; it ends when the session has been disposed.
        /// May be enumerated once. Events not taken are kept.
        /// <code>await foreach (VekEvent e in session.Events()) Console.WriteLine(e.Describe());</code>
        /// </summary>
        public IAsyncEnumerable<VekEvent> Events()
        {
            var stream = new Stream(this);
            lock (streams)
            {
                streams.Add(stream);
                if (over) stream.Add(null);
            }
            return stream;
        }

        partial void AddToStreams(VekEvent told)
        {
            lock (streams)
            {
                over = told == null;
                foreach (Stream stream in streams) stream.Add(told);
            }
        }

        private sealed class Stream : IAsyncEnumerable<VekEvent>, IAsyncEnumerator<VekEvent>
        {
            private readonly VekSession session;
            private readonly Queue<VekEvent> events = new Queue<VekEvent>();  // the last one is null
            private readonly SemaphoreSlim there = new SemaphoreSlim(0);
            private CancellationToken token;

            public Stream(VekSession session) { this.session = session; }

            public VekEvent Current { get; private set; }

            public void Add(VekEvent told)
            {
                lock (events) events.Enqueue(told);
                there.Release();
            }

            public IAsyncEnumerator<VekEvent> GetAsyncEnumerator(CancellationToken cancellation)
            {
                token = cancellation;
                return this;
            }

            public ValueTask<bool> MoveNextAsync() { return new ValueTask<bool>(TakeAsync()); }

            public ValueTask DisposeAsync()
            {
                lock (session.streams) session.streams.Remove(this);
                return default(ValueTask);
            }

            private async Task<bool> TakeAsync()
            {
                await there.WaitAsync(token).ConfigureAwait(false);
                lock (events) Current = events.Dequeue();
                if (Current == null) Add(null);  // for repeated calls
                return Current != null;
            }
        }
    }
}
#endif
