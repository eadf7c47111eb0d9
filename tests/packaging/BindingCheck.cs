// Checks the Qz assembly as .NET sees it, on any system: prints each import of
// the class Qz.Native as "ENTRYPOINT LIBRARY PARAMETER-TYPES" for the calling
// script to compare with the flat interface, and exits non-zero when a text
// holding NUL gets through to the library instead of being refused or when a
// configuration does not read back what it was given.
//   mono BindingCheck.exe Qz.dll
using System;
using System.Linq;
using System.Reflection;
using System.Runtime.InteropServices;

static class BindingCheck
{
    static int Main(string[] args)
    {
        Assembly qz = Assembly.LoadFrom(args[0]);
        Type native = qz.GetType("Qz.Native", true);
        foreach (MethodInfo m in native.GetMethods(BindingFlags.Static | BindingFlags.Public | BindingFlags.NonPublic))
        {
            var import = (DllImportAttribute)m.GetCustomAttributes(typeof(DllImportAttribute), false).FirstOrDefault();
            if (import == null) continue;
            string entry = string.IsNullOrEmpty(import.EntryPoint) ? m.Name : import.EntryPoint;
            Console.WriteLine("{0} {1} {2}", entry, import.Value,
                string.Join(",", m.GetParameters().Select(p => p.ParameterType.Name).ToArray()));
        }

        int faults = 0;
        Type keys = qz.GetType("Qz.ExtendedKeys", true);
        object k = Activator.CreateInstance(keys);
        try
        {
            keys.GetMethod("Add", new[] { typeof(string), typeof(string) }).Invoke(k, new object[] { "title", "cut\0here" });
            Console.Error.WriteLine("FAIL: a text holding NUL reached the library");
            ++faults;
        }
        catch (TargetInvocationException e) when (e.InnerException is ArgumentException)
        {
        }
        ((IDisposable)k).Dispose();

        // The getters read what the library stored, a C long in its width.
        Type configuration = qz.GetType("Qz.Configuration", true);
        object c = Activator.CreateInstance(configuration);
        configuration.GetMethod("SetCompanyID").Invoke(c, new object[] { "9531985d-5d9d-49f8-9818-e811892f902b" });
        configuration.GetMethod("SetEndpointTimeout").Invoke(c, new object[] { 4321L });
        object id = configuration.GetMethod("GetCompanyID").Invoke(c, null);
        object timeout = configuration.GetMethod("GetEndpointTimeout").Invoke(c, null);
        if ((string)id != "9531985D-5D9D-49F8-9818-E811892F902B" || (long)timeout != 4321L)
        {
            Console.Error.WriteLine("FAIL: the configuration read back {0} and {1}", id, timeout);
            ++faults;
        }
        ((IDisposable)c).Dispose();
        return faults;
    }
}
