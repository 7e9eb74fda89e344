import QtQuick
import QtTest
import Wingbell.Testing

// Tests of a panel: a fresh desk for every test, and what a test opens over it. A complaint of the
// panel's own bindings fails the test.
TestCase {
    id: test

    property var desk: null
    property var opened: []

    // Every item below `root` that is of the type, in the order in which they are drawn.
    function all(root, type) {
        const found = [];
        for (let index = 0; index < root.children.length; ++index) {
            const child = root.children[index];
            if (child instanceof type)
                found.push(child);
            found.push(...all(child, type));
        }
        return found;
    }
    // The items' places in `root`, as text that a failure shows whole.
    function places(items, root) {
        return items.map(item => {
                const place = item.mapToItem(root, 0, 0);
                return `${place.x},${place.y} ${item.width}x${item.height}`;
            });
    }
    function cleanup() {
        // The panels first: they read the desk to the end.
        for (const item of opened)
            item.destroy();
        opened = [];
        wait(0);
        desk.killServers();
        tryVerify(() => desk.serverCount() === 0);
        desk.destroy();
        desk = null;
    }
    // Presses an item of a wrapping row, which stands in its place only once that is laid out.
    function clickChip(chip) {
        laidOut(chip.parent);
        mouseClick(chip);
    }
    // Whether two colours are drawn alike, in 8 bits a channel.
    function compareColors(actual, wanted) {
        compare(`${actual}`, `${wanted}`);
    }
    // Whether both hold the same texts, in whatever order.
    function compareSets(actual, wanted) {
        compare(actual.slice().sort(), wanted.slice().sort());
    }
    function init() {
        failOnWarning(/.?/);
        desk = deskComponent.createObject(test);
    }
    function laidOut(layout) {
        tryVerify(() => !isPolishScheduled(layout));
    }
    // The item below `root` that says the text; fails where there is none.
    function labelled(root, type, text) {
        const found = all(root, type).filter(item => item.text === text);
        compare(found.length, 1, `one "${text}"`);
        return found[0];
    }
    // Rows of test data that are one value each.
    function eachOf(values) {
        return values.map(value => ({
                        "tag": `${value}`,
                        "value": value
                    }));
    }
    // Creates the component's item in the test's window, until the test ends.
    function open(component, properties) {
        const item = component.createObject(parent, properties ?? {});
        verify(item);
        opened.push(item);
        return item;
    }
    function selectAllOf(field) {
        mouseClick(field);
        keyClick(Qt.Key_A, Qt.ControlModifier);
    }
    function typeText(text) {
        for (const character of text)
            keyClick(character);
    }

    when: windowShown

    Component {
        id: deskComponent

        TestDesk {
        }
    }
}
