// What the desk may know of this device: its battery, and whether its screen stays on.
export class Device {
    #awake;
    #battery = null;

    /** `awake` keeps the screen on. */
    constructor(awake) {
        this.#awake = awake;
        navigator.getBattery?.().then(
            (battery) => {
                this.#battery = battery;
            },
            () => {},
        );
    }

    /** {screen, battery, charging}: 'on', 'may-lock' or 'hidden'; from 0 to 1, null where the browser does not tell. */
    get report() {
        const level = this.#battery?.level;
        return {
            screen: document.visibilityState !== 'visible' ? 'hidden' : this.#awake.isHeld ? 'on' : 'may-lock',
            battery: level >= 0 && level <= 1 ? Math.round(100 * level) / 100 : null,
            charging: this.#battery?.charging === true,
        };
    }
}
