// retarget ASSEMBLY FACADE OUTPUT: Mono's compiler lets an assembly refer to mscorlib and its neighbours. This refers it
// to the .NET Standard whose facade it is given, and fails if that does not have all the types.
using System;
using System.Collections.Generic;
using System.Linq;
using Mono.Cecil;

internal static class Retarget
{
    private static int Main(string[] arguments)
    {
        using (ModuleDefinition module = ModuleDefinition.ReadModule(arguments[0]))
        using (ModuleDefinition facade = ModuleDefinition.ReadModule(arguments[1]))
        {
            AssemblyNameDefinition standard = facade.Assembly.Name;
            var there = new HashSet<string>(facade.ExportedTypes.Select(type => type.FullName));
            List<TypeReference> used = module.GetTypeReferences().ToList();
            List<TypeReference> missing = used.Where(type => !there.Contains(type.FullName)).ToList();
            foreach (TypeReference type in missing) Console.Error.WriteLine(type.FullName + " is not in " + standard.FullName);
            if (missing.Count > 0) return 1;

            var reference = new AssemblyNameReference(standard.Name, standard.Version) { PublicKeyToken = standard.PublicKeyToken };
            module.AssemblyReferences.Clear();
            module.AssemblyReferences.Add(reference);
            foreach (TypeReference type in used.Where(type => !type.IsNested)) type.Scope = reference;
            module.Write(arguments[2], new WriterParameters { DeterministicMvid = true, Timestamp = 0 });
        }
        using (ModuleDefinition made = ModuleDefinition.ReadModule(arguments[2])) return made.AssemblyReferences.Count == 1 ? 0 : 1;
    }
}
