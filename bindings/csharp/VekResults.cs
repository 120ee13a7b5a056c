// Results of queries: tables of records, read in place; texts are converted on access.
using System;
using System.Collections;
using System.Collections.Generic;
using System.Runtime.InteropServices;

namespace VekApi
{
    /// <summary>
    /// A task result: <c>result["orders"][0]["Price"]</c>. It is kept until Dispose, or until nothing refers to it. All
    /// members may be used on any thread.
    /// </summary>
    public sealed class VekResult : IReadOnlyList<VekTable>, IDisposable
    {
        private readonly VekResultHandle handle;

        private VekResult(CVekTaskResult from, bool owned) { handle = new VekResultHandle(from, owned); }

        /// <summary>
        /// A borrowed result, as in VekClient.OnTaskResult. It must be disposed before that event returns;
        /// it cannot be read afterwards.
        /// </summary>
        public static VekResult Lent(CVekTaskResult lent) { return new VekResult(lent, false); }

        internal static VekResult Of(ref CVekSession session, ref CVekEvent from)
        {
            CVekTaskResult kept = Vek.CVekSession_KeepResult(ref session, ref from);
            return kept.Object == IntPtr.Zero ? null : new VekResult(kept, true);
        }

        /// <summary>The id of the answered request.</summary>
        public string WorkId
        {
            get { using (handle.Hold()) return VekText.Get(Vek.CVekTaskResult_WorkID(ref handle.Result)); }
        }

        /// <summary>The text that the tables were read from, up to its first NUL.</summary>
        public string Text
        {
            get { using (handle.Hold()) return VekText.Get(Vek.CVekTaskResult_OrigResult(ref handle.Result)); }
        }

        /// <summary>Number of tables.</summary>
        public int Count { get { using (handle.Hold()) return (int)Vek.CVekTaskResult_TableCount(ref handle.Result); } }

        /// <summary>A table by number, in the order of arrival. ArgumentOutOfRangeException if there is none.</summary>
        public VekTable this[int index]
        {
            get
            {
                using (handle.Hold())
                    return Made(index < 0 ? default(CVekTable) : Vek.CVekTaskResult_IndexTable(ref handle.Result, (uint)index)) ??
                           throw new ArgumentOutOfRangeException(nameof(index));
            }
        }

        /// <summary>A table by name. KeyNotFoundException if there is none.</summary>
        public VekTable this[string name]
        {
            get { return Table(name) ?? throw new KeyNotFoundException("there is no table " + name); }
        }

        /// <summary>A table by name; null if there is none.</summary>
        public VekTable Table(string name)
        {
            using (handle.Hold()) return Made(Vek.CVekTaskResult_NameTable(ref handle.Result, VekText.Put(name)));
        }

        /// <summary>The tables, in the order of arrival.</summary>
        public IEnumerator<VekTable> GetEnumerator()
        {
            for (int i = 0, count = Count; i < count; ++i) yield return this[i];
        }

        IEnumerator IEnumerable.GetEnumerator() { return GetEnumerator(); }

        /// <summary>Frees it now: reading it or its tables then throws ObjectDisposedException.</summary>
        public void Dispose() { handle.Dispose(); }

        private VekTable Made(CVekTable table) { return table.Object == IntPtr.Zero ? null : new VekTable(handle, table); }
    }

    /// <summary>A table of a result: a list of records.</summary>
    public sealed class VekTable : IReadOnlyList<VekRecord>
    {
        private readonly VekResultHandle owner;
        private readonly Dictionary<string, int> places = new Dictionary<string, int>();
        private CVekTable handle;

        internal VekTable(VekResultHandle owner, CVekTable handle)  // called while the owner is held
        {
            this.owner = owner;
            this.handle = handle;
            CVekProperties properties = Vek.CVekTable_Properties(ref handle);
            Attributes = new VekAttributes(owner, properties);
            Market = Vek.CVekTable_MktFlag(ref handle);
            Count = Vek.CVekTable_RecordsCount(ref handle);
            CVekFields fields = Vek.CVekTable_Fields(ref handle);
            var columns = new VekAttributes[Vek.CVekFields_Count(ref fields)];
            for (int i = columns.Length - 1; i >= 0; --i)
            {
                CVekField field = Vek.CVekFields_IndexField(ref fields, i);
                columns[i] = new VekAttributes(owner, Vek.CVekField_Properties(ref field));
                CVekField named = Vek.CVekFields_NameField(ref fields, VekText.Put(columns[i].Name));
                places[columns[i].Name] = Vek.CVekField_Index(ref named);
            }
            Columns = columns;
        }

        /// <summary>Its name and attributes.</summary>
        public VekAttributes Attributes { get; }
        /// <summary>Its name.</summary>
        public string Name { get { return Attributes.Name; } }
        /// <summary>Vek.cvam_..., or another number from the server.</summary>
        public int Market { get; }
        /// <summary>Its columns, in order.</summary>
        public IReadOnlyList<VekAttributes> Columns { get; }
        /// <summary>Number of records.</summary>
        public int Count { get; }

        /// <summary>A record, counted from 0. ArgumentOutOfRangeException if there is none.</summary>
        public VekRecord this[int row]
        {
            get
            {
                if (row < 0 || row >= Count) throw new ArgumentOutOfRangeException(nameof(row));
                return new VekRecord(this, row);
            }
        }

        /// <summary>The index of a column, from 0; negative if there is none.</summary>
        public int IndexOf(string column)
        {
            int place;
            return places.TryGetValue(column, out place) ? place : -1;
        }

        /// <summary>The records, in order.</summary>
        public IEnumerator<VekRecord> GetEnumerator()
        {
            for (int row = 0; row < Count; ++row) yield return new VekRecord(this, row);
        }

        IEnumerator IEnumerable.GetEnumerator() { return GetEnumerator(); }

        // Null if the record has no such column; it may have arrived before the columns.
        internal string Value(int row, int column)
        {
            using (owner.Hold()) return VekText.Get(Vek.CVekTable_RecordIndexField(ref handle, row, column));
        }
    }

    /// <summary>A record: its values by the names of the columns.</summary>
    public sealed class VekRecord : IReadOnlyDictionary<string, string>
    {
        private readonly VekTable table;
        private readonly int row;

        internal VekRecord(VekTable table, int row)
        {
            this.table = table;
            this.row = row;
        }

        /// <summary>The value of a column, counted from 0. ArgumentOutOfRangeException if there is none.</summary>
        public string this[int column]
        {
            get { return table.Value(row, column) ?? throw new ArgumentOutOfRangeException(nameof(column)); }
        }

        /// <summary>The value of a column; "" if the record has none. KeyNotFoundException if there is no such column.</summary>
        public string this[string column]
        {
            get
            {
                string value;
                return TryGetValue(column, out value) ? value : throw new KeyNotFoundException("there is no column " + column);
            }
        }

        /// <summary>Number of columns.</summary>
        public int Count { get { return table.Columns.Count; } }
        /// <summary>Whether there is such a column.</summary>
        public bool ContainsKey(string column) { return table.IndexOf(column) >= 0; }

        /// <summary>The value of a column; false if there is no such column.</summary>
        public bool TryGetValue(string column, out string value)
        {
            int place = table.IndexOf(column);
            value = place < 0 ? null : table.Value(row, place) ?? "";
            return place >= 0;
        }

        /// <summary>The names of the columns.</summary>
        public IEnumerable<string> Keys { get { foreach (VekAttributes column in table.Columns) yield return column.Name; } }
        /// <summary>The values, in the order of the columns.</summary>
        public IEnumerable<string> Values { get { for (int i = 0; i < Count; ++i) yield return table.Value(row, i) ?? ""; } }

        /// <summary>Names and values, in the order of the columns.</summary>
        public IEnumerator<KeyValuePair<string, string>> GetEnumerator()
        {
            for (int i = 0; i < Count; ++i)
                yield return new KeyValuePair<string, string>(table.Columns[i].Name, table.Value(row, i) ?? "");
        }

        IEnumerator IEnumerable.GetEnumerator() { return GetEnumerator(); }
    }

    /// <summary>Name and attributes of a table or column.</summary>
    public sealed class VekAttributes
    {
        private readonly VekResultHandle owner;
        private CVekProperties handle;

        internal VekAttributes(VekResultHandle owner, CVekProperties handle)  // called while the owner is held
        {
            this.owner = owner;
            this.handle = handle;
            Name = VekText.Get(Vek.CVekProperties_Name(ref handle));
        }

        /// <summary>The name.</summary>
        public string Name { get; }
        /// <summary>The text to show to users, or the name if there is none.</summary>
        public string DisplayText { get { using (owner.Hold()) return VekText.Get(Vek.CVekProperties_DisplayText(ref handle)); } }
        /// <summary>The description, or the display text if there is none.</summary>
        public string Description { get { using (owner.Hold()) return VekText.Get(Vek.CVekProperties_Description(ref handle)); } }

        /// <summary>The value of an attribute such as "mkt"; null if there is none.</summary>
        public string this[string key]
        {
            get { using (owner.Hold()) return VekText.Get(Vek.CVekProperties_Get(ref handle, VekText.Put(key))); }
        }
    }

    // Owns a kept result, or refers to a borrowed one.
    internal sealed class VekResultHandle : SafeHandle
    {
        internal CVekTaskResult Result;
        private readonly bool owned;

        internal VekResultHandle(CVekTaskResult result, bool owned) : base(IntPtr.Zero, true)
        {
            this.owned = owned;
            Result = result;
            SetHandle(result.Object);
        }

        public override bool IsInvalid { get { return handle == IntPtr.Zero; } }

        protected override bool ReleaseHandle()
        {
            if (owned) Vek.CVekTaskResult_Free(ref Result);
            return true;
        }

        // The result is kept until the returned object is disposed.
        internal Use Hold() { return new Use(this); }

        internal struct Use : IDisposable
        {
            private readonly VekResultHandle of;

            internal Use(VekResultHandle of)
            {
                bool held = false;
                of.DangerousAddRef(ref held);  // throws ObjectDisposedException
                this.of = of;
            }

            public void Dispose() { of.DangerousRelease(); }
        }
    }
}
