const tests = [];

/** `name` is a sentence of behaviour. */
export function test(name, body) {
    tests.push({ name, body });
}

export function equal(actual, expected) {
    const [got, wanted] = [JSON.stringify(actual), JSON.stringify(expected)];
    if (got !== wanted) throw new Error(`${got} instead of ${wanted}`);
}

/** [{name, error}], error null where all is well. */
export async function run() {
    const outcome = [];
    for (const { name, body } of tests) {
        try {
            await body();
            outcome.push({ name, error: null });
        } catch (error) {
            outcome.push({ name, error: `${error.stack ?? error}` });
        }
    }
    return outcome;
}
