// What the page knows when it opens: the code or key, and the role, in its address, and what the browser stored at an earlier
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
    /** {level, muted}: the level from 0 to 100; 100 unless it was set for that role and channel. */
    level(role, channel) {
        const [, level, muted] = readLevels().find(([name]) => name === nameOf(role, channel)) ?? [];
        return { level: Number.isFinite(level) ? Math.min(100, Math.max(0, level)) : 100, muted: muted === true };
    },
    setLevel(role, channel, { level, muted }) {
        const name = nameOf(role, channel);
        const others = readLevels().filter(([other]) => other !== name);
        write(levelsEntry, JSON.stringify([...others, [name, level, muted]].slice(-maxLevels)));
    },
    /** What let the person in at the last visit, as readFragment() returns it; null if there is nothing. */
    get credential() {
        const { cardKey, cardRole, code } = memory;
        if (cardKey) return { key: cardKey, ...(cardRole && { cardRole }) };
        return code ? { code } : null;
    },
    set credential(credential) {
        memory.code = credential?.code ?? null;
        memory.cardKey = credential?.key ?? null;
        memory.cardRole = credential?.cardRole ?? null;
    },
};
Object.defineProperties(memory, {
    code: stored('wingbell.code'),
    cardKey: stored('wingbell.key'),
    cardRole: stored('wingbell.card'),
    deskKey: stored('wingbell.desk'),
    role: stored('wingbell.role'),
    setting: stored('wingbell.microphone'),
    device: stored('wingbell.device'),
    language: stored('wingbell.language'),
    wings: stored('wingbell.wings'), // 'on' or null
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

/**
 * {credential, role} of an address such as https://desk/#key=Zk1…&role=k7d2m9qa, from a scanned card, or with
 * code=482913 in place of the key; null if missing or invalid. The credential is what lets a person in: {code}, or
 * {key, cardRole}, where the role is that of the card, and missing on the card for the door.
 */
export function readFragment(hash) {
    const fields = new URLSearchParams(hash.replace(/^#/, ''));
    const field = (name, form) => {
        const text = fields.get(name);
        return text !== null && form.test(text) ? text : null;
    };
    const code = field('code', /^[0-9]{6}$/);
    const key = field('key', /^[A-Za-z0-9_-]{22}$/);
    const role = field('role', /^[A-Za-z0-9_-]{1,64}$/);
    const byKey = key && { key, ...(role && { cardRole: role }) };
    return { credential: byKey ?? (code && { code }), role };
}

/** Reads the page's own fragment and removes it from the address bar, where others could read the code. */
export function takeFragment() {
    const fields = readFragment(location.hash);
    if (location.hash) history.replaceState(null, '', location.pathname);
    return fields;
}
