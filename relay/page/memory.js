// What the page knows when it opens: the code and the role in its address, and what the browser stored at an earlier
// visit. A browser may refuse to store anything (private browsing): then every visit is like the first.

const levelsEntry = 'wingbell.levels';
const maxLevels = 200; // of all shows this phone has been to; the oldest are forgotten

function read(entry) {
    try {
        return localStorage.getItem(entry);
    } catch {
        return null;
    }
}

function write(entry, text) {
    try {
        if (text === null) localStorage.removeItem(entry);
        else localStorage.setItem(entry, text);
    } catch {
        // not stored
    }
}

/** A property in the browser's storage: null if it was never set, and to remove it. */
const stored = (entry) => ({ get: () => read(entry), set: (text) => write(entry, text) });

export const memory = {
    /** From 0 to 100; 100 unless it was set for that role and channel. */
    level(role, channel) {
        const level = readLevels().find(([name]) => name === nameOf(role, channel))?.[1];
        return Number.isFinite(level) ? Math.min(100, Math.max(0, level)) : 100;
    },
    setLevel(role, channel, level) {
        const name = nameOf(role, channel);
        const others = readLevels().filter(([other]) => other !== name);
        write(levelsEntry, JSON.stringify([...others, [name, level]].slice(-maxLevels)));
    },
};
Object.defineProperties(memory, {
    code: stored('wingbell.code'),
    role: stored('wingbell.role'),
    setting: stored('wingbell.microphone'),
});

const nameOf = (role, channel) => JSON.stringify([role, channel]);

function readLevels() {
    try {
        const levels = JSON.parse(read(levelsEntry) ?? '[]');
        return Array.isArray(levels) ? levels.filter(Array.isArray) : [];
    } catch {
        return [];
    }
}

/** The code and the role of an address such as https://desk/#code=482913&role=k7d2m9qa; null if missing or invalid. */
export function readFragment(hash) {
    const fields = new URLSearchParams(hash.replace(/^#/, ''));
    const field = (name, form) => {
        const text = fields.get(name);
        return text !== null && form.test(text) ? text : null;
    };
    return { code: field('code', /^[0-9]{6}$/), role: field('role', /^[A-Za-z0-9_-]{1,64}$/) };
}

/** Reads the page's own fragment and removes it from the address bar, where others could read the code. */
export function takeFragment() {
    const fields = readFragment(location.hash);
    if (location.hash) history.replaceState(null, '', location.pathname);
    return fields;
}
